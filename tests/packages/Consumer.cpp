#include "tests/packages/Consumer.h"

#include <gtest/gtest.h>

#include "tests/support/Shell.h"

void Consumer::BuildByCMake(const std::string& arguments) const {
  OutputOf(
      "cmake -G Ninja -S " PROJECT_ROOT "/tests/consumer -B . " + arguments + " && cmake --build .",
      m_directory.Path(), 250);
}

void Consumer::BuildByPkgConfig(const std::string& environment) const {
  OutputOf("export " + environment +
               "; c++ -std=c++20 " PROJECT_ROOT
               "/tests/consumer/consumer.cpp -o consumer $(pkg-config --cflags --libs spf)",
           m_directory.Path(), 250);
}

void Consumer::ExpectToWork(const std::string& environment) const {
  EXPECT_EQ(
      OutputOf("export " + environment + "; ./consumer example.org 192.0.2.26", m_directory.Path()),
      Lines({PROJECT_VERSION, "192.0.2.25", "192.0.2.26", "UDPSocket::Connect - inet_addr() failed",
             "passed"}));
  EXPECT_EQ(m_directory.Read("consumer-current.log"), "Info: asked for example.org\n");
}

// PolicyRequest: its values, its faults and its limits.

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "framework/core/Exceptions.h"
#include "programs/spf-policyd/PolicyRequest.h"
#include "tests/support/FailureText.h"

namespace {

// Takes all of `text`. Returns whether its last byte, and no other, completed the request.
bool TakeAll(PolicyRequest& request, const std::string& text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (request.Take(text[i])) {
      return i + 1 == text.size();
    }
  }
  return false;
}

// Returns the fault that is found at the last byte of `text`.
std::string FaultOf(const std::string& text) {
  PolicyRequest request;
  EXPECT_FALSE(TakeAll(request, text.substr(0, text.size() - 1)));
  return FailureText<StdException>([&] { request.Take(text.back()); });
}

std::string Attributes(int count) {
  std::string text;
  for (int i = 1; i <= count; ++i) {
    text += "name" + std::to_string(i) + "=value\n";
  }
  return text;
}

// Returns `size` bytes of lines of one attribute.
std::string LinesOf(std::size_t size) {
  std::string text;
  while (size > 0) {
    const std::size_t length = size > 2000 ? 1000 : size;
    text += "name=" + std::string(length - 6, 'x') + "\n";
    size -= length;
  }
  return text;
}

}  // namespace

TEST(PolicyRequestTest, ValuesAreReadAsTheyAre) {
  const std::pair<const char*, const char*> rows[] = {
      // with the value of "name"
      {"name=value\n\n", "value"},
      {"other=1\nname=value\nthird=3\n\n", "value"},
      {"name=\n\n", ""},
      {"other=value\n\n", ""},
      {"Name=value\n\n", ""},
      {"name =value\n\n", ""},
      {"name= two words \n\n", " two words "},
      {"name=a=b=\n\n", "a=b="},
      {"name=first\nname=last\n\n", "last"},
      {"=name\n\n", ""},
      {"name=%s%n\\\"\n\n", "%s%n\\\""},
  };
  for (const auto& [text, value] : rows) {
    PolicyRequest request;
    EXPECT_TRUE(TakeAll(request, text)) << text;
    EXPECT_EQ(request.Get("name"), value) << text;
  }
}

TEST(PolicyRequestTest, AByteThatIsNotPrintableBecomesAQuestionMark) {
  const std::pair<std::string, const char*> rows[] = {
      {std::string("name=a\0b\n\n", 10), "a?b"},
      {"name=a\rb\r\n\n", "a?b?"},
      {"name=\t\x1b[2J\x7f\n\n", "??[2J?"},
      {"name=\xc3\xa4\xff\n\n", "???"},
      {"name= ~\n\n", " ~"},
  };
  for (const auto& [text, value] : rows) {
    PolicyRequest request;
    EXPECT_TRUE(TakeAll(request, text)) << value;
    EXPECT_EQ(request.Get("name"), value);
  }
}

TEST(PolicyRequestTest, AFaultIsReportedAtOnce) {
  const struct {
    const char* name;
    std::string text;
    const char* fault;
  } rows[] = {
      {"nothing but its end", "\n", "request without an attribute"},
      {"no equals sign", "name\n", "line without \"=\""},
      {"no equals sign, later", "name=value\nname\n", "line without \"=\""},
      {"a line of two characters for its end", "name=value\r\n\r\n", "line without \"=\""},
      {"another protocol", "GET / HTTP/1.0\n", "line without \"=\""},
      {"a line of 2049 bytes", "name=" + std::string(2044, 'x'), "line too long"},
      {"65537 bytes", LinesOf(65536) + "n", "request too long"},
      {"65537 bytes with the end", LinesOf(65536) + "\n", "request too long"},
      {"101 attributes", Attributes(101), "too many attributes"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(FaultOf(row.text), row.fault) << row.name;
  }
}

TEST(PolicyRequestTest, RequestsAtTheLimitsAreTaken) {
  const std::pair<const char*, std::string> rows[] = {
      {"a line of 2048 bytes", "name=" + std::string(2043, 'x') + "\n\n"},
      {"65536 bytes", LinesOf(65535) + "\n"},
      {"100 attributes", Attributes(100) + "\n"},
      {"one attribute 101 times", Attributes(100) + "name100=again\n\n"},
  };
  for (const auto& [name, text] : rows) {
    PolicyRequest request;
    EXPECT_TRUE(TakeAll(request, text)) << name;
  }
}

// Options has what the command line of spf-may-send asks for.
//
// A value type. Only one thread at a time may make one: getopt_long has process-wide state.

#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

class Options {
 public:
  enum class Action { kCheck, kHelp, kVersion };

  // Reads the arguments of main(). Options end at the first argument that is not one, so that text
  // after the client's address, which a stranger may choose, is never taken for an option. Throws
  // std::invalid_argument for wrong use, with a text for the user in printable ASCII.
  Options(int count, char* arguments[]);

  Action GetAction() const { return m_action; }

  // Returns how long the check may take, 1 ms to a day.
  std::chrono::milliseconds GetTimeLimit() const { return m_timeLimit; }

  // Returns the name server to ask, a dotted quad; empty for the system's.
  const std::string& GetServer() const { return m_server; }

  // Returns the record to evaluate instead of the published one.
  const std::optional<std::string>& GetRecord() const { return m_record; }

  bool IsExplained() const { return m_isExplained; }
  bool IsQuiet() const { return m_isQuiet; }

  // Return the arguments, unchecked.
  const std::string& GetAddress() const { return m_address; }
  const std::string& GetSender() const { return m_sender; }

 private:
  void Read(int count, char* arguments[]);
  void TakeOption(int option, const char* word);
  void TakeArguments(const std::vector<std::string>& arguments);
  std::string AdviseOnQuotes() const;

  Action m_action = Action::kCheck;
  std::chrono::milliseconds m_timeLimit{20000};
  std::string m_server;
  std::optional<std::string> m_record;
  bool m_isExplained = false;
  bool m_isQuiet = false;
  std::string m_address;
  std::string m_sender;
};

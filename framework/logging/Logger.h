// fwk::Logger is the one logging facility: static operations that format a message, put a prefix
// in front and write the line to a file or the system log and, if wanted, to standard output.
//
// Any thread may log. A line is composed in the calling thread and then written under one lock,
// before the call returns. Nothing is ever thrown or reported to the caller: a line that cannot be
// written is lost. Writing blocks as the file, the system log or standard output does.
//
// With the date and time and the thread a line reads
//   2024-03-01 14:05:09 [3067] Info: text

#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <string>

#include "framework/core/Locks.h"

namespace fwk {

// Higher is more severe. The name of a level, ": " after it, is its prefix in the line.
enum LogLevel : int {
  DebugThread = 0,
  Debug = 1,
  Tracking = 2,
  Info = 3,
  Warning = 4,
  Error = 5,
};

class Logger {
 public:
  Logger() = delete;

  // Sets m_sLogFileLocation, m_LogLevel, m_bIncludeDateTime and m_bIncludeThreadID; may be called
  // again at any time. A null location counts as an empty one.
  static void Init(const char* location, unsigned short level, bool includeDateTime,
                   bool includeThreadID) noexcept;

  // Writes a line when level is at least m_LogLevel and m_sLogFileLocation is not empty; otherwise
  // nothing is formatted. format: as printf takes it. A message is cut at 4095 characters. A level
  // that LogLevel does not have gets no prefix.
  __attribute__((format(printf, 2, 3))) static void Log(int level, const char* format,
                                                        ...) noexcept;

  // As Log, and always written at once.
  __attribute__((format(printf, 2, 3))) static void LogSync(int level, const char* format,
                                                            ...) noexcept;

  // The lowest level that is written: 0 writes all six, 6 none of them.
  inline static std::atomic<std::int16_t> m_LogLevel{Debug};

  inline static std::atomic<bool> m_bToFile{true};
  inline static std::atomic<bool> m_bToConsole{false};
  inline static std::atomic<bool> m_bSyslog{false};  // to the system log instead of a file

  // What stands in front of the message. The first two are left out of lines to the system log,
  // which has its own.
  inline static std::atomic<bool> m_bIncludeDateTime{true};
  inline static std::atomic<bool> m_bIncludeThreadID{true};
  inline static std::atomic<bool> m_bIncludeLogLevel{true};

  // Put in front of the log files' names as it is: a directory needs its "/". Empty: nothing is
  // written, to the console neither. Changed by Init alone.
  inline static std::string m_sLogFileLocation = "/var/log/";

  // The live log file, and the name it gets when the day changes (empty until the first line).
  inline static std::string m_logFilename = "current.log";
  inline static std::string m_currentLog;

  // Held by Init and for each line written.
  inline static MutexInstance m_MutexInstance{PTHREAD_MUTEX_RECURSIVE};

 private:
  __attribute__((format(printf, 2, 0))) static void ComposeAndWrite(int level, const char* format,
                                                                    va_list arguments) noexcept;

  // Composing: in the caller's thread, without the lock.
  __attribute__((format(printf, 2, 0))) static std::string Compose(int level, const char* format,
                                                                   va_list arguments);
  static std::string Prefix(int level);

  // Writing: WriteLine takes the lock, the others need it held.
  static void WriteLine(const std::string& line);
  static void WriteToConsole(const std::string& line);

  // The file or, with m_bSyslog, the system log: identity Environment::PRODUCT_NAME with the
  // process id, facility LOG_USER, every line at LOG_INFO. Writes nothing unless m_bToFile is set.
  static void WriteToSink(const std::string& line);

  // The path of the live file. At the first call after the local date or the location changed the
  // live file is first renamed to m_currentLog, the dated name it had until then, with m_bSyslog
  // too; a failed rename is passed over and the lines go on into the live file.
  static std::string GetLogFileName();

  // Whether Init left a location: what is asked, without the lock, before a line is composed.
  inline static std::atomic<bool> m_bHasLocation{true};
};

}  // namespace fwk

// fwk::Logger is the one logging facility: static operations that format a message, put a prefix
// in front and write the line to a file or the system log and, if wanted, to standard output.
//
// Any thread may log. A line is composed in the calling thread. It is then written under one lock
// before the call returns or, once StartAsync has started the logging thread, handed to that
// thread, all but Error lines. Nothing is ever thrown or reported to the caller: a line that cannot
// be written is lost. Writing blocks as the file, the system log or standard output does; handing
// over does not.
//
// With the date and time and the thread a line reads
//   2024-03-01 14:05:09 [3067] Info: text
//
// A static object that logs to the system log in its destructor needs Environment.h included in
// front of this header, or the name that the lines bear is gone by then.
//
// Each process needs a location of its own. Where two have the same, the second to log after
// midnight renames the new file over the dated file that the first has made: that day is lost. One
// process loses a day in the same way when its clock is set back over midnight. When Init sets
// another location, a live file that is there already gets the dated name of the old location and
// replaces a file of that name.
//
// Threads that log must end before main returns: the logger is destroyed then, and a thread that
// still logs ends the process. Where the logging thread is blocked, as by a pipe that is full, the
// process does not end until it goes on.
//
// A child of a process whose threads log can hang at its first line, with or without StartAsync: a
// lock that another thread held when it was forked stays locked. It must not log, and end by exec
// or _exit.
//
// The locks are taken in this order: m_MutexInstance, then m_locationLock, m_progressLock or that
// of m_bAsync, of m_LogQueue or of m_logUnque.

#pragma once

#include <pthread.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdarg>
#include <cstdint>
#include <mutex>
#include <string>

#include "framework/Utilities/Boolean.h"
#include "framework/core/CacheMap.h"
#include "framework/core/Export.h"
#include "framework/core/Locks.h"
#include "framework/core/Queue.h"
#include "framework/core/ThreadAnnotations.h"
#include "framework/core/ThreadedObject.h"

namespace fwk {

// Higher is more severe. The name of a level, ": " after it, is its prefix in the line. The
// framework itself logs as Debug, Info and Error; the others are for programs.
enum LogLevel : int {
  DebugThread = 0,
  Debug = 1,
  Tracking = 2,
  Info = 3,
  Warning = 4,
  Error = 5,
};

class FWK_EXPORT Logger : public ThreadedObject {
 public:
  // The body of the logging thread; StartAsync runs it.
  std::uint32_t ObjectThreadMethod() override;
  ~Logger() override;

  // Sets m_sLogFileLocation, m_LogLevel, m_bIncludeDateTime and m_bIncludeThreadID; may be called
  // again at any time. A null location counts as an empty one.
  static void Init(const char* location, unsigned short level, bool includeDateTime,
                   bool includeThreadID) noexcept;

  // Writes a line, or hands it to the logging thread, when level is at least m_LogLevel and
  // m_sLogFileLocation is not empty; otherwise nothing is formatted. format: as printf takes it. A
  // message is cut at 4095 characters. A level that LogLevel does not have gets no prefix.
  __attribute__((format(printf, 2, 3))) static void Log(int level, const char* format,
                                                        ...) noexcept;

  // As Log, and always written at once.
  __attribute__((format(printf, 2, 3))) static void LogSync(int level, const char* format,
                                                            ...) noexcept;

  // Starts the logging thread, once in a process: a second call does nothing, after StopAsync too.
  // Where no thread can be had lines go on being written at once, and a later call tries again.
  static void StartAsync() noexcept;

  // Ends the logging thread, without waiting for it. Lines it has not written yet are lost, so call
  // Drain first; from now on lines are written at once. The end of the process does the same, and
  // waits: exit() is not to be called with m_MutexInstance held, nor from the logging thread.
  static void StopAsync() noexcept;

  // Blocks until all lines are written that were handed to the logging thread before the call, the
  // one included that it has taken already, or until `atMost` has passed or the thread has ended.
  // Returns whether they are written. Neither for the logging thread nor with m_MutexInstance held.
  static bool Drain(std::chrono::milliseconds atMost) noexcept;

  // Appends message and a line feed to the file at path, unless this operation was given the same
  // message before, for whatever path and whether or not it could be written. Level, m_bToFile,
  // console and system log do not count; an empty m_sLogFileLocation switches it off. The 10,001st
  // message makes it forget the 100 oldest.
  static void WriteOnce(const std::string& path, const std::string& message) noexcept;

  // The lowest level that is written: 0 writes all six, 6 none of them.
  inline static std::atomic<std::int16_t> m_LogLevel{Debug};

  inline static std::atomic<bool> m_bToFile{true};      // to a file or the system log
  inline static std::atomic<bool> m_bToConsole{false};  // to standard output, flushed by the line
  inline static std::atomic<bool> m_bSyslog{false};     // to the system log instead of a file

  // What stands in front of the message. The first two are left out of lines to the system log,
  // which has its own.
  inline static std::atomic<bool> m_bIncludeDateTime{true};
  inline static std::atomic<bool> m_bIncludeThreadID{true};
  inline static std::atomic<bool> m_bIncludeLogLevel{true};

  // Serialises all output, and Init, StartAsync and StopAsync.
  inline static MutexInstance m_MutexInstance{PTHREAD_MUTEX_RECURSIVE};

  // The location and its lock. It is put in front of the log files' names as it is: a directory
  // needs its "/". Empty: nothing is written, to the console neither, nor what waits for the
  // logging thread. Once other threads log, only Init may change it.
  inline static MutexReadWriteInstance m_locationLock;
  inline static std::string m_sLogFileLocation FWK_GUARDED_BY(m_locationLock) = "/var/log/";

  // The live log file, and the name it gets when the day changes (empty until the first line).
  inline static std::string m_logFilename FWK_GUARDED_BY(m_MutexInstance) = "current.log";
  inline static std::string m_currentLog FWK_GUARDED_BY(m_MutexInstance);

  inline static Boolean m_bAsync;               // whether lines are handed to the logging thread
  inline static Queue<std::string> m_LogQueue;  // lines for the logging thread
  inline static CacheMap<std::string> m_logUnque{10000, 100};  // messages that WriteOnce wrote

  // The object that owns the logging thread, once it was started; it may be gone already.
  inline static Logger* m_pLogger FWK_GUARDED_BY(m_MutexInstance) = nullptr;

 private:
  class EndAtExit;
  enum class Delivery { kMayQueue, kAtOnce };

  Logger() = default;

  // The steps of Log and LogSync. Composing is done without the lock.
  __attribute__((format(printf, 2, 0))) static void ComposeAndDeliver(int level, const char* format,
                                                                      va_list arguments,
                                                                      Delivery delivery) noexcept;
  __attribute__((format(printf, 2, 0))) static std::string Compose(int level, const char* format,
                                                                   va_list arguments);
  static void AppendPrefix(std::string& line, int level);
  static bool HasLocation();

  static void WriteLine(std::string line);
  static void WriteToConsole(const std::string& line) FWK_REQUIRES(m_MutexInstance);

  // The file or, with m_bSyslog, the system log: identity Environment::PRODUCT_NAME with the
  // process id, facility LOG_USER, every line at LOG_INFO. Writes nothing unless m_bToFile is set.
  static void WriteToSink(const std::string& line) FWK_REQUIRES(m_MutexInstance);

  // The path of the live file. At the first call after the local date or the location changed the
  // live file is first renamed to m_currentLog, the dated name it had until then, with m_bSyslog
  // too; a failed rename is passed over and the lines go on into the live file.
  static const std::string& GetLogFileName() FWK_REQUIRES(m_MutexInstance);

  // The paths of the last line, kept so that the next one needs no memory for them.
  inline static std::string m_livePath FWK_GUARDED_BY(m_MutexInstance);
  inline static std::string m_datedPath FWK_GUARDED_BY(m_MutexInstance);

  void WriteQueuedLines();

  static void HandToThread(std::string line);
  static void CountWritten();

  // For Drain: how many lines were handed to the logging thread, each counted before it is in the
  // queue, and how many of them the thread has dealt with.
  inline static std::atomic<std::uint64_t> m_handed{0};
  inline static std::mutex m_progressLock;
  inline static std::condition_variable m_progress;
  inline static std::uint64_t m_written = 0;    // with m_progressLock held
  inline static bool m_hasThreadEnded = false;  // with m_progressLock held
};

}  // namespace fwk

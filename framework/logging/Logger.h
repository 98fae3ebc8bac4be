// fwk::Logger formats messages, adds a prefix and writes the lines to a file or the system log and,
// optionally, to standard output. All operations are static.
//
// Thread-safe. The calling thread composes the line and writes it, under a lock, before the call
// returns. After StartAsync() it passes lines, except Error lines, to the logging thread instead.
// Writing blocks like the file, the system log or standard output; passing a line on does not
// block. Nothing is thrown or reported: a line that cannot be written is lost.
//
// A line with all of its prefix looks like this:
//   2024-03-01 14:05:09 [3067] Info: text
//
// A static object whose destructor logs to the system log must be in a source that includes
// Environment.h before this header. Otherwise the product's name, which the lines have, no longer
// exists.
//
// Each process needs a location of its own. If two processes share one, the second to log after
// midnight renames the new file over the dated file that the first has made, and that day is lost.
// A process loses a day in the same way if its clock is set back over midnight. After Init() with
// another location, a live file that exists there is renamed to the dated name of the old location
// and replaces a file of that name.
//
// Threads that log must end before main() returns, because the logger is then destroyed; a thread
// that still logs ends the process. If the logging thread is blocked, for example by a full pipe,
// the process does not end until it goes on.
//
// The child of a process whose threads log must not log, and must end by exec(3) or _exit(2). It
// could hang at its first line, with or without StartAsync(), because a lock that another thread
// held during the fork stays locked.
//
// Lock order: m_MutexInstance before m_locationLock, m_progressLock and the locks of m_bAsync,
// m_LogQueue and m_logUnque.

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

// The severity of a message. The name of the level and ": " come before the message in the line.
// The framework itself uses Debug, Info and Error.
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
  // Runs on the logging thread. Do not call it; StartAsync() does.
  std::uint32_t ObjectThreadMethod() override;
  ~Logger() override;

  // Sets m_sLogFileLocation, m_LogLevel, m_bIncludeDateTime and m_bIncludeThreadID. May be called
  // again at any time. A null `location` counts as an empty one.
  static void Init(const char* location, unsigned short level, bool includeDateTime,
                   bool includeThreadID) noexcept;

  // Writes a line, or passes it to the logging thread, if `level` is at least m_LogLevel and
  // m_sLogFileLocation is not empty; otherwise formats nothing. `format` is that of printf(3). A
  // message is cut at 4095 characters. A level that is not a LogLevel has no prefix.
  __attribute__((format(printf, 2, 3))) static void Log(int level, const char* format,
                                                        ...) noexcept;

  // Does the same as Log(), but always writes the line before it returns.
  __attribute__((format(printf, 2, 3))) static void LogSync(int level, const char* format,
                                                            ...) noexcept;

  // Starts the logging thread. Only the first call in a process does, even after StopAsync(). If
  // the system has no more threads, lines are still written at once and a later call tries again.
  static void StartAsync() noexcept;

  // Ends the logging thread without waiting for it; lines are written at once from then on. Lines
  // that the thread has not written yet are lost, so call Drain() first. The end of the process
  // does the same and waits for the thread, so exit(3) must not be called with m_MutexInstance held
  // or from the logging thread.
  static void StopAsync() noexcept;

  // Blocks until every line that was passed to the logging thread before the call is written, until
  // `atMost` has passed, or until the thread has ended. Returns whether the lines are written. Must
  // not be called from the logging thread or with m_MutexInstance held.
  static bool Drain(std::chrono::milliseconds atMost) noexcept;

  // Appends `message` and a line feed to the file at `path`, unless this operation was called with
  // the same message before: for any path, and even if it could not be written. Does nothing if
  // m_sLogFileLocation is empty; ignores all other settings. The 10,001st message makes it forget
  // the 100 oldest.
  static void WriteOnce(const std::string& path, const std::string& message) noexcept;

  // The lowest level that is written: 0 writes all six levels, 6 writes none of them.
  inline static std::atomic<std::int16_t> m_LogLevel{Debug};

  inline static std::atomic<bool> m_bToFile{true};      // to a file or the system log
  inline static std::atomic<bool> m_bToConsole{false};  // to standard output, flushed line by line
  inline static std::atomic<bool> m_bSyslog{false};     // to the system log instead of a file

  // The parts of the prefix. Lines in the system log never have the first two, because that adds
  // its own.
  inline static std::atomic<bool> m_bIncludeDateTime{true};
  inline static std::atomic<bool> m_bIncludeThreadID{true};
  inline static std::atomic<bool> m_bIncludeLogLevel{true};

  // Serialises all output, and Init(), StartAsync() and StopAsync().
  inline static MutexInstance m_MutexInstance{PTHREAD_MUTEX_RECURSIVE};

  // The location, and its lock. A location is put before the names of the log files unchanged, so a
  // directory needs a "/" at its end. If it is empty, nothing is written, even to the console or by
  // the logging thread. While other threads log, only Init() may change it.
  inline static MutexReadWriteInstance m_locationLock;
  inline static std::string m_sLogFileLocation FWK_GUARDED_BY(m_locationLock) = "/var/log/";

  // The name of the live file after the location, and the path to which it is renamed when the day
  // changes (empty until the first line).
  inline static std::string m_logFilename FWK_GUARDED_BY(m_MutexInstance) = "current.log";
  inline static std::string m_currentLog FWK_GUARDED_BY(m_MutexInstance);

  inline static Boolean m_bAsync;               // whether the logging thread writes the lines
  inline static Queue<std::string> m_LogQueue;  // the lines for the logging thread
  inline static CacheMap<std::string> m_logUnque{10000, 100};  // the messages of WriteOnce()

  // The object that owns the logging thread, after StartAsync(). It may already be deleted.
  inline static Logger* m_pLogger FWK_GUARDED_BY(m_MutexInstance) = nullptr;

 private:
  class EndAtExit;
  enum class Delivery { kMayQueue, kAtOnce };

  Logger() = default;

  // The steps of Log() and LogSync(). Lines are composed without the lock.
  __attribute__((format(printf, 2, 0))) static void ComposeAndDeliver(int level, const char* format,
                                                                      va_list arguments,
                                                                      Delivery delivery) noexcept;
  __attribute__((format(printf, 2, 0))) static std::string Compose(int level, const char* format,
                                                                   va_list arguments);
  static void AppendPrefix(std::string& line, int level);
  static bool HasLocation();

  static void WriteLine(std::string line);
  static void WriteToConsole(const std::string& line) FWK_REQUIRES(m_MutexInstance);

  // Writes `line` to the file or, if m_bSyslog is set, to the system log: with the identity
  // Environment::PRODUCT_NAME, the process ID, the facility LOG_USER and the level LOG_INFO. Writes
  // nothing unless m_bToFile is set.
  static void WriteToSink(const std::string& line) FWK_REQUIRES(m_MutexInstance);

  // Returns the path of the live file. At the first call after the local date or the location has
  // changed, even if m_bSyslog is set, renames the live file to m_currentLog, the dated name until
  // then. Ignores a failed rename; lines still go to the live file.
  static const std::string& GetLogFileName() FWK_REQUIRES(m_MutexInstance);

  // The paths for the last line, kept so that the next line needs no memory for them.
  inline static std::string m_livePath FWK_GUARDED_BY(m_MutexInstance);
  inline static std::string m_datedPath FWK_GUARDED_BY(m_MutexInstance);

  void WriteQueuedLines();

  static void HandToThread(std::string line);
  static void CountWritten();

  // For Drain(): how many lines were passed to the logging thread, counted before they are in the
  // queue, and how many of them the thread has handled.
  inline static std::atomic<std::uint64_t> m_handed{0};
  inline static std::mutex m_progressLock;
  inline static std::condition_variable m_progress;
  inline static std::uint64_t m_written = 0;    // with m_progressLock held
  inline static bool m_hasThreadEnded = false;  // with m_progressLock held
};

}  // namespace fwk

// PolicyServer accepts connections and answers their requests.
//
// Its threads wait together for something to do, so an idle connection holds none. A thread is
// started when the last one that waits has got work, and ends after some seconds without any. There
// are never more than kMostChecks checks under way: each needs a descriptor below 1024.
//
// When all connections are taken, the one that has had no answer for the longest time, as it is
// idle or slow to ask, gives way to a new one; where each is being answered, new ones wait in the
// system's queue.
//
// One thread, the owner's, makes it, calls the operations below, and destroys it, which ends it:
// what is being decided on is still answered. The owner's other threads must block signals.

#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "framework/core/Locks.h"
#include "framework/core/ThreadAnnotations.h"
#include "framework/core/ThreadedObject.h"
#include "programs/spf-policyd/MessageMemory.h"
#include "programs/spf-policyd/Places.h"
#include "programs/spf-policyd/PolicyConnection.h"
#include "programs/spf-policyd/Settings.h"

class PolicyServer {
 public:
  static constexpr std::size_t kMostChecks = 900;

  // Takes over `listeners`, which are non-blocking, listening sockets. Has at most `connections` at
  // once, whatever the settings say. Throws a SocketException when the system is short.
  PolicyServer(const std::vector<int>& listeners, std::size_t connections,
               std::shared_ptr<const Settings> settings);
  ~PolicyServer() noexcept(false);

  PolicyServer(const PolicyServer&) = delete;
  PolicyServer& operator=(const PolicyServer&) = delete;

  // Decides by `settings` from the next request on.
  void SetSettings(std::shared_ptr<const Settings> settings);

  // Clears away threads that have ended, and tries again to start the thread and to accept the
  // connection that could not be had; a shortage is logged. To be called every second or so.
  void Tidy();

 private:
  class Worker;

  struct Entry {
    std::shared_ptr<PolicyConnection> connection;
    bool isBusy = false;  // a thread serves it
  };

  std::vector<std::unique_ptr<Worker>> TakeEnded();
  void Work();
  bool BeginToWork();
  bool LeaveIfSpare();
  void StartWorker() FWK_REQUIRES(m_mutex);
  void Handle(std::uint64_t id);

  void Accept(std::uint64_t id);
  bool RecoverFrom(int error);
  bool HasRoom() const;
  bool EvictIdlest();
  void Add(std::shared_ptr<PolicyConnection> connection);

  void Serve(std::uint64_t id);
  bool Answer(const PolicyRequest& request, const PolicyConnection& connection);
  std::shared_ptr<PolicyConnection> Occupy(std::uint64_t id);
  void Release(std::uint64_t id, bool goesOn);

  void Watch(int operation, int descriptor, std::uint32_t events, std::uint64_t id) const;
  void PauseAccepting();
  void ResumeAccepting() FWK_REQUIRES(m_mutex);
  void NoteShortage(const std::string& text) noexcept;
  std::shared_ptr<const Settings> GetSettings() const;
  bool IsStopping() const;

  const std::vector<int> m_listeners;
  const int m_events;   // epoll
  const int m_stopper;  // readable once the server is to end
  const std::size_t m_mostConnections;
  Places m_places;
  MessageMemory m_memory;

  mutable MutexInstance m_mutex{PTHREAD_MUTEX_RECURSIVE};
  std::shared_ptr<const Settings> m_settings FWK_GUARDED_BY(m_mutex);
  std::map<std::uint64_t, Entry> m_connections FWK_GUARDED_BY(m_mutex);
  std::vector<std::unique_ptr<Worker>> m_workers FWK_GUARDED_BY(m_mutex);
  std::uint64_t m_nextId FWK_GUARDED_BY(m_mutex);
  std::size_t m_waiting FWK_GUARDED_BY(m_mutex) = 0;  // threads without work
  std::size_t m_threads FWK_GUARDED_BY(m_mutex) = 0;  // that have not ended
  bool m_isStopping FWK_GUARDED_BY(m_mutex) = false;
  bool m_isAccepting FWK_GUARDED_BY(m_mutex) = true;
  std::string m_shortage FWK_GUARDED_BY(m_mutex);  // the first one since the last Tidy()
};

// PolicyServer accepts connections and answers their requests.
//
// Its threads wait together for work, so an idle connection holds none. When the last waiting
// thread gets work, another one is started; a thread ends after some seconds without work. At most
// kMostChecks checks are under way: each needs a descriptor below 1024.
//
// When all connections are taken, the one without an answer for the longest time, because it is
// idle or slow to ask, is closed for a new one. While all of them are being answered, new ones wait
// in the system's queue.
//
// Only the owner's thread makes it, calls the operations below, and destroys it. The destructor
// still answers the requests that are being decided. The owner's other threads must block signals.

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

  // Takes over `listeners`, which are non-blocking, listening sockets. Serves at most `connections`
  // at once, whatever the settings say. Throws a SocketException if the system lacks resources.
  PolicyServer(const std::vector<int>& listeners, std::size_t connections,
               std::shared_ptr<const Settings> settings);
  ~PolicyServer() noexcept(false);

  PolicyServer(const PolicyServer&) = delete;
  PolicyServer& operator=(const PolicyServer&) = delete;

  // Uses `settings` from the next request on.
  void SetSettings(std::shared_ptr<const Settings> settings);

  // Removes threads that have ended, tries again to start a thread or to accept a connection after
  // a failure, and logs a shortage. Call it about every second.
  void Tidy();

 private:
  class Worker;

  struct Entry {
    std::shared_ptr<PolicyConnection> connection;
    bool isBusy = false;  // a thread is serving it
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
  bool Answer(const PolicyRequest& request, PolicyConnection& connection);
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
  const int m_stopper;  // becomes readable to end the server
  const std::size_t m_mostConnections;
  Places m_places;
  MessageMemory m_memory;

  mutable MutexInstance m_mutex{PTHREAD_MUTEX_RECURSIVE};
  std::shared_ptr<const Settings> m_settings FWK_GUARDED_BY(m_mutex);
  std::map<std::uint64_t, Entry> m_connections FWK_GUARDED_BY(m_mutex);
  std::vector<std::unique_ptr<Worker>> m_workers FWK_GUARDED_BY(m_mutex);
  std::uint64_t m_nextId FWK_GUARDED_BY(m_mutex);
  std::size_t m_waiting FWK_GUARDED_BY(m_mutex) = 0;  // threads without work
  std::size_t m_threads FWK_GUARDED_BY(m_mutex) = 0;  // threads that have not ended
  bool m_isStopping FWK_GUARDED_BY(m_mutex) = false;
  bool m_isAccepting FWK_GUARDED_BY(m_mutex) = true;
  std::string m_shortage FWK_GUARDED_BY(m_mutex);  // the first one since the last Tidy()
};

#include "programs/spf-policyd/PolicyServer.h"

#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <exception>
#include <utility>

#include "framework/core/Exceptions.h"
#include "programs/spf-policyd/PolicyDecision.h"
#include "programs/spf-policyd/ServiceLog.h"

namespace {

constexpr int kIdleMs = 2000;             // time after which an idle thread ends
constexpr std::size_t kOtherThreads = 8;  // in addition to those that check
constexpr std::uint64_t kStopperId = 0;   // listeners have the next ids, then connections

bool IsReadable(int descriptor) {
  pollfd event{descriptor, POLLIN, 0};
  return poll(&event, 1, 0) > 0;
}

// Returns whether `error` of accept says that the connection is gone.
bool HasLeft(int error) {
  return error == EAGAIN || error == EWOULDBLOCK || error == ECONNABORTED || error == EINTR;
}

}  // namespace

// Runs a thread of the server.
class PolicyServer::Worker : public ThreadedObject {
 public:
  explicit Worker(PolicyServer& server) : m_server(server) {}
  ~Worker() override { StopObjectThread(); }

  bool HasEnded() const { return m_hasEnded; }

  std::uint32_t ObjectThreadMethod() override {
    m_server.Work();
    m_hasEnded = true;
    return 0;
  }

 private:
  PolicyServer& m_server;
  std::atomic<bool> m_hasEnded{false};
};

PolicyServer::PolicyServer(const std::vector<int>& listeners, std::size_t connections,
                           std::shared_ptr<const Settings> settings)
    : m_listeners(listeners),
      m_events(epoll_create1(EPOLL_CLOEXEC)),
      m_stopper(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      m_mostConnections(connections),
      m_places(std::min(connections, kMostChecks)),
      m_settings(std::move(settings)),
      m_nextId(1 + listeners.size()) {
  if (m_events < 0 || m_stopper < 0) {
    Socket::ThrowSocketError("PolicyServer::PolicyServer - epoll", 0);
  }
  Watch(EPOLL_CTL_ADD, m_stopper, EPOLLIN, kStopperId);
  for (std::size_t i = 0; i < m_listeners.size(); ++i) {
    Watch(EPOLL_CTL_ADD, m_listeners[i], EPOLLIN | EPOLLONESHOT, 1 + i);
  }
  const Mutex guard(m_mutex, true);
  StartWorker();
}

PolicyServer::~PolicyServer() noexcept(false) {
  std::vector<std::unique_ptr<Worker>> workers;
  {
    const Mutex guard(m_mutex, true);
    m_isStopping = true;
    workers.swap(m_workers);
  }
  eventfd_write(m_stopper, 1);
  workers.clear();  // waits for each
  for (const int listener : m_listeners) {
    close(listener);
  }
  close(m_stopper);
  close(m_events);
}

void PolicyServer::SetSettings(std::shared_ptr<const Settings> settings) {
  const Mutex guard(m_mutex, true);
  m_settings = std::move(settings);
}

std::shared_ptr<const Settings> PolicyServer::GetSettings() const {
  const Mutex guard(m_mutex, true);
  return m_settings;
}

bool PolicyServer::IsStopping() const {
  const Mutex guard(m_mutex, true);
  return m_isStopping;
}

void PolicyServer::Tidy() {
  TakeEnded().clear();
  std::string shortage;
  {
    const Mutex guard(m_mutex, true);
    if (m_waiting == 0) {
      StartWorker();  // starting one failed before
    }
    ResumeAccepting();
    shortage.swap(m_shortage);
  }
  if (!shortage.empty()) {
    ServiceLog::Write(fwk::Warning, shortage);
  }
}

// Returns the workers that have ended. Destroy them without the lock.
std::vector<std::unique_ptr<PolicyServer::Worker>> PolicyServer::TakeEnded() {
  const Mutex guard(m_mutex, true);
  std::vector<std::unique_ptr<Worker>> ended;
  for (std::unique_ptr<Worker>& worker : m_workers) {
    if (worker->HasEnded()) {
      ended.push_back(std::move(worker));
    }
  }
  std::erase(m_workers, nullptr);
  return ended;
}

void PolicyServer::StartWorker() {
  if (m_isStopping || m_threads >= kMostChecks + kOtherThreads) {
    return;
  }
  try {
    auto worker = std::make_unique<Worker>(*this);
    m_workers.reserve(m_workers.size() + 1);
    worker->StartObjectThread(false, -1);
    m_workers.push_back(std::move(worker));
    ++m_threads;
    ++m_waiting;
  } catch (const std::exception& e) {  // the existing threads continue
    NoteShortage(std::string("no further thread: ") + e.what());
  }
}

void PolicyServer::Work() {
  for (;;) {
    epoll_event event{};
    const int ready = epoll_wait(m_events, &event, 1, kIdleMs);
    if (ready <= 0 ? LeaveIfSpare() : !BeginToWork()) {
      return;
    }
    if (ready > 0) {
      Handle(event.data.u64);
      const Mutex guard(m_mutex, true);
      ++m_waiting;
    }
  }
}

// Returns false if the server ends.
bool PolicyServer::BeginToWork() {
  const Mutex guard(m_mutex, true);
  --m_waiting;
  if (m_isStopping) {
    --m_threads;
    return false;
  }
  if (m_waiting == 0) {
    StartWorker();
  }
  return true;
}

// Returns whether this thread must end because another one is waiting.
bool PolicyServer::LeaveIfSpare() {
  const Mutex guard(m_mutex, true);
  if (m_waiting < 2 && !m_isStopping) {
    return false;
  }
  --m_waiting;
  --m_threads;
  return true;
}

void PolicyServer::Handle(std::uint64_t id) {
  const bool isListener = id <= m_listeners.size();
  try {
    if (isListener) {
      Accept(id);
    } else {
      Serve(id);
    }
  } catch (const std::exception& e) {  // for example for lack of memory
    NoteShortage(e.what());
    if (isListener) {
      PauseAccepting();
    }
  }
}

void PolicyServer::Accept(std::uint64_t id) {
  const int listener = m_listeners[id - 1];
  while (IsReadable(listener)) {
    if (!HasRoom() && !EvictIdlest()) {
      PauseAccepting();
      return;
    }
    auto connection = std::make_shared<PolicyConnection>();
    if (connection->Accept(listener)) {
      Add(std::move(connection));
    } else if (!HasLeft(errno) && !RecoverFrom(errno)) {
      PauseAccepting();
      return;
    }
  }
  Watch(EPOLL_CTL_MOD, listener, EPOLLIN | EPOLLONESHOT, id);
}

// Handles `error` of accept. Returns whether to try again.
bool PolicyServer::RecoverFrom(int error) {
  NoteShortage(FormatSystemError("cannot accept a connection", error));
  return error == EMFILE && EvictIdlest();
}

bool PolicyServer::HasRoom() const {
  const Mutex guard(m_mutex, true);
  return m_connections.size() < m_mostConnections;
}

// Closes the connection that has been idle for the longest time. Returns whether there was one.
bool PolicyServer::EvictIdlest() {
  const Mutex guard(m_mutex, true);
  auto idlest = m_connections.end();
  for (auto entry = m_connections.begin(); entry != m_connections.end(); ++entry) {
    if (!entry->second.isBusy &&
        (idlest == m_connections.end() ||
         entry->second.connection->GetLastAnswer() < idlest->second.connection->GetLastAnswer())) {
      idlest = entry;
    }
  }
  if (idlest == m_connections.end()) {
    return false;
  }
  m_connections.erase(idlest);
  return true;
}

void PolicyServer::Add(std::shared_ptr<PolicyConnection> connection) {
  const Mutex guard(m_mutex, true);
  const std::uint64_t id = m_nextId++;
  Watch(EPOLL_CTL_ADD, connection->GetDescriptor(), EPOLLIN | EPOLLRDHUP | EPOLLONESHOT, id);
  m_connections[id] = {std::move(connection), false};
}

void PolicyServer::Serve(std::uint64_t id) {
  const std::shared_ptr<PolicyConnection> connection = Occupy(id);
  if (connection == nullptr) {
    return;
  }
  bool goesOn = false;
  try {
    goesOn = connection->Serve([this](const PolicyRequest& request, PolicyConnection& peer) {
      return Answer(request, peer);
    });
  } catch (...) {
    Release(id, false);
    throw;
  }
  Release(id, goesOn);
}

bool PolicyServer::Answer(const PolicyRequest& request, PolicyConnection& connection) {
  const std::shared_ptr<const Settings> settings = GetSettings();
  PolicyDecision decision(request, *settings, m_places, m_memory, connection.GetDescriptor());
  const bool isDelivered = connection.Send(decision.GetAnswer());
  decision.Conclude(isDelivered);
  return isDelivered && !IsStopping();
}

// Reserves the connection for this thread and returns it; null if it is gone.
std::shared_ptr<PolicyConnection> PolicyServer::Occupy(std::uint64_t id) {
  const Mutex guard(m_mutex, true);
  const auto found = m_connections.find(id);
  if (found == m_connections.end()) {
    return nullptr;
  }
  found->second.isBusy = true;
  return found->second.connection;
}

void PolicyServer::Release(std::uint64_t id, bool goesOn) {
  const Mutex guard(m_mutex, true);
  const auto found = m_connections.find(id);
  if (goesOn) {
    found->second.isBusy = false;
    Watch(EPOLL_CTL_MOD, found->second.connection->GetDescriptor(),
          EPOLLIN | EPOLLRDHUP | EPOLLONESHOT, id);
  } else {
    m_connections.erase(found);
  }
  ResumeAccepting();
}

void PolicyServer::Watch(int operation, int descriptor, std::uint32_t events,
                         std::uint64_t id) const {
  epoll_event event{};
  event.events = events;
  event.data.u64 = id;
  if (epoll_ctl(m_events, operation, descriptor, &event) < 0) {
    Socket::ThrowSocketError("PolicyServer::Watch - epoll_ctl", 0);
  }
}

// Stops accepting until a connection ends, or until Tidy().
void PolicyServer::PauseAccepting() {
  const Mutex guard(m_mutex, true);
  m_isAccepting = false;
}

void PolicyServer::ResumeAccepting() {
  if (m_isAccepting) {
    return;
  }
  m_isAccepting = true;
  for (std::size_t i = 0; i < m_listeners.size(); ++i) {
    Watch(EPOLL_CTL_MOD, m_listeners[i], EPOLLIN | EPOLLONESHOT, 1 + i);
  }
}

// Keeps a shortage for Tidy() to log: many events may meet the same one, and the caller may hold
// the lock.
void PolicyServer::NoteShortage(const std::string& text) noexcept {
  try {
    const Mutex guard(m_mutex, true);
    if (m_shortage.empty()) {
      m_shortage = text;
    }
  } catch (...) {  // out of memory
  }
}

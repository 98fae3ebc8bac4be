#include "tests/spf_bulk/BulkServer.h"

#include "tests/support/PrivateNetwork.h"
#include "tests/support/ReplyBuilder.h"

namespace {

constexpr std::uint16_t kRefused = 0x8185;
constexpr std::uint16_t kTruncated = 0x8380;
constexpr char kPassing[] = "v=spf1 ip4:192.0.2.0/24 -all";

}  // namespace

BulkServer::BulkServer() : m_server([this](const Bytes& query) { return Answer(query); }) {
  SetResolverFile("nameserver 127.0.0.1\n");
}

std::vector<BulkServer::Clock::time_point> BulkServer::GetTimes() const {
  const std::lock_guard guard(m_mutex);
  return m_times;
}

std::size_t BulkServer::CountQuestions(const std::string& domain) const {
  const std::lock_guard guard(m_mutex);
  const auto entry = m_questions.find(domain);
  return entry == m_questions.end() ? 0 : entry->second;
}

Datagrams BulkServer::Answer(const Bytes& query) {
  const std::string question = ScriptedNameServer::QuestionOf(query);
  const std::string name = question.substr(question.find(' ') + 1);
  std::size_t count = 0;
  {
    const std::lock_guard guard(m_mutex);
    count = ++m_questions[name];
    m_times.push_back(Clock::now());
  }
  ReplyBuilder reply(query);
  if (name.starts_with("silent") || (name.starts_with("lost") && count == 1)) {
    return {};
  }
  if (name.starts_with("pass") || name.starts_with("lost")) {
    reply.TXT({kPassing});
  } else if (name.starts_with("fail")) {
    reply.TXT({"v=spf1 -all"});
  } else if (name.starts_with("broken")) {
    reply.TXT({"v=spf1 ip4"});
  } else if (name.starts_with("refused")) {
    reply.SetFlags(kRefused);
  } else if (name.starts_with("cut")) {
    reply.SetFlags(kTruncated);
  }
  return {reply.Build()};
}

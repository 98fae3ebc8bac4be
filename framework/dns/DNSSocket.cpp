#include "framework/dns/DNSSocket.h"

#include <unistd.h>

#include <array>
#include <exception>

#include "framework/Utilities/StringUtilities.h"
#include "framework/core/Exceptions.h"
#include "framework/dns/AnswerWalk.h"
#include "framework/dns/MessageCodec.h"
#include "framework/dns/NameServer.h"
#include "framework/logging/Logger.h"

namespace {

constexpr int kTimeoutMs = 5000;

}  // namespace

DNSSocket::DNSSocket(const std::string& domain)
    : UDPSocket(0, 30000), m_domain(SanitiseUtf8(domain)) {
  LoadNameServer();
}

DNSSocket::~DNSSocket() noexcept(false) = default;

int DNSSocket::GetARecords(std::vector<std::string>& out) {
  return ConnectAndQuery(out, MessageCodec::kTypeA);
}

int DNSSocket::GetNSRecords(std::vector<std::string>& out) {
  return ConnectAndQuery(out, MessageCodec::kTypeNS);
}

int DNSSocket::GetTXTRecords(std::vector<std::string>& out) {
  return ConnectAndQuery(out, MessageCodec::kTypeTXT);
}

std::string DNSSocket::GetSPFRecord() {
  if (m_spfRecord.empty()) {
    std::vector<std::string> texts;
    GetTXTRecords(texts);
  }
  return m_spfRecord;
}

int DNSSocket::ConnectAndQuery(std::vector<std::string>& out, const unsigned short& type) {
  Connect(GetNameServer(), "53", true);
  return DoQuery(out, type);
}

int DNSSocket::DoQuery(std::vector<std::string>& out, const unsigned short& type) {
  out.clear();
  try {
    Exchange(out, type);
  } catch (const UDPSocketTimeoutException& e) {
    fwk::Logger::LogSync(fwk::Debug, "DNSSocket::DoQuery - UDPSocketTimeoutException - %s",
                         e.GetMessage());
  } catch (const StdException& e) {
    fwk::Logger::LogSync(fwk::Error, "DNSSocket::DoQuery - StdException - %s", e.GetMessage());
  } catch (const std::exception& e) {
    fwk::Logger::LogSync(fwk::Error, "DNSSocket::DoQuery - exception - %s", e.what());
  } catch (...) {
    fwk::Logger::LogSync(fwk::Error, "DNSSocket::DoQuery - unknown exception");
  }
  return 0;
}

// Sends a query, receives the reply and collects its answers.
void DNSSocket::Exchange(std::vector<std::string>& out, unsigned short type) {
  const auto id = static_cast<std::uint16_t>(getpid());
  const std::vector<unsigned char> query = MessageCodec::EncodeQuery(m_domain, type, id);
  unsigned int moved = 0;
  if (Send(reinterpret_cast<const char*>(query.data()), static_cast<unsigned int>(query.size()),
           moved, kTimeoutMs) <= 0) {
    return;
  }
  std::array<unsigned char, MessageCodec::kMaxMessage> buffer{};
  const int received = Receive(reinterpret_cast<char*>(buffer.data()),
                               static_cast<unsigned int>(buffer.size()), moved, kTimeoutMs, true);
  if (received < 0) {
    return;
  }
  CollectAnswers({buffer.data(), static_cast<std::size_t>(received)},
                 MessageCodec::GetAnswerStart(query), out);
}

void DNSSocket::CollectAnswers(std::span<const unsigned char> reply, std::uint32_t answerStart,
                               std::vector<std::string>& out) {
  AnswerWalk walk(reply, answerStart);
  AnswerWalk::Answer answer;
  while (walk.Next(answer)) {
    if (answer.value.empty()) {
      continue;
    }
    out.push_back(SanitiseUtf8(answer.value));
    if (answer.type == MessageCodec::kTypeTXT && answer.value.find("v=spf") != std::string::npos) {
      m_spfRecord = out.back();
    }
  }
}

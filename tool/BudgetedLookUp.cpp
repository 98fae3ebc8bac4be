#include "tool/BudgetedLookUp.h"

#include <sys/select.h>

#include <cerrno>
#include <utility>

#include "framework/Utilities/StringUtilities.h"
#include "framework/core/Exceptions.h"
#include "framework/dns/MessageCodec.h"
#include "tool/BudgetException.h"
#include "tool/ReplyFacts.h"
#include "tool/SPFTerm.h"

BudgetedLookUp::BudgetedLookUp(const std::string& domain, CheckBudget& budget)
    : DNSSocket(domain), m_budget(budget) {
  m_lookUp.domain = domain;
}

BudgetedLookUp::~BudgetedLookUp() noexcept(false) = default;

std::vector<std::string> BudgetedLookUp::FindAddresses() {
  m_lookUp.type = LookUp::Type::kA;
  std::vector<std::string> addresses;
  GetARecords(addresses);
  if (m_lookUp.outcome == LookUp::Outcome::kAnswered && m_lookUp.addresses != addresses) {
    m_lookUp.outcome = LookUp::Outcome::kMisread;
  }
  m_lookUp.addresses = addresses;
  Conclude();
  return addresses;
}

std::string BudgetedLookUp::FindRecord() {
  m_lookUp.type = LookUp::Type::kTXT;
  std::string record = GetSPFRecord();
  for (const std::string& text : m_texts) {
    if (IsSPFRecord(text)) {
      m_lookUp.policies.push_back(text);
    }
  }
  const std::string published = m_lookUp.policies.empty() ? "" : m_lookUp.policies.back();
  if (m_lookUp.outcome == LookUp::Outcome::kAnswered && published != record) {
    m_lookUp.outcome = LookUp::Outcome::kMisread;
  }
  Conclude();
  return record;
}

void BudgetedLookUp::CreateSocket(int domain, int type, int protocol, bool nonBlocking) {
  m_budget.TakeLookUp();
  DNSSocket::CreateSocket(domain, type, protocol, nonBlocking);
  if (m_descriptor >= FD_SETSIZE) {
    Close();
    ThrowSocketError("BudgetedLookUp::CreateSocket - socket handle exceeds FD_SETSIZE", EMFILE);
  }
}

int BudgetedLookUp::Receive(char* buffer, unsigned int length, unsigned int& received,
                            int timeoutMs, bool fill) {
  m_wakeUp = m_budget.WaitToRead(m_descriptor, timeoutMs);
  if (m_wakeUp != CheckBudget::Wait::kReadable) {
    throw UDPSocketTimeoutException("BudgetedLookUp::Receive - no answer");
  }
  m_wait = 0;  // the reply is ready
  const int size = DNSSocket::Receive(buffer, length, received, timeoutMs, fill);
  TakeFacts(buffer, static_cast<std::size_t>(size), length);
  return size;
}

void BudgetedLookUp::TakeFacts(const char* reply, std::size_t size, std::size_t room) {
  const std::uint16_t type =
      m_lookUp.type == LookUp::Type::kA ? MessageCodec::kTypeA : MessageCodec::kTypeTXT;
  const std::vector<unsigned char> query =
      MessageCodec::EncodeQuery(SanitiseUtf8(m_lookUp.domain), type, 0);
  ReplyFacts facts =
      ReadReplyFacts({reinterpret_cast<const unsigned char*>(reply), size}, query, room);
  m_lookUp.outcome = facts.outcome;
  m_lookUp.errorCode = facts.errorCode;
  m_lookUp.addresses = std::move(facts.addresses);
  m_texts = std::move(facts.texts);
}

void BudgetedLookUp::Conclude() {
  m_budget.GetObserver().OnLookUp(m_lookUp);
  if (m_wakeUp == CheckBudget::Wait::kDeadline) {
    throw BudgetException(BudgetException::Reason::kTime);
  }
  if (m_wakeUp == CheckBudget::Wait::kHangUp) {
    throw BudgetException(BudgetException::Reason::kHangUp);
  }
}

// BudgetedLookUp is a DNSSocket that makes one look-up within the budget of a check and records its
// outcome. It asks and reads as DNSSocket does.
//
// One thread at a time may use an object. A look-up blocks as DNSSocket's do, but never past the
// deadline. A time-out needs no large stack; a query that cannot be sent, for example without a
// route, needs as much as StringFormat.

#pragma once

#include <string>
#include <vector>

#include "framework/core/Export.h"
#include "framework/dns/DNSSocket.h"
#include "tool/CheckBudget.h"
#include "tool/LookUp.h"

class FWK_EXPORT BudgetedLookUp : public DNSSocket {
 public:
  // Prepares a look-up of `domain`. `budget` must outlive the object.
  BudgetedLookUp(const std::string& domain, CheckBudget& budget);
  ~BudgetedLookUp() noexcept(false) override;

  // Returns what GetARecords() finds, and tells the budget's observer of the look-up. Throws a
  // BudgetException if the budget does not allow the look-up or cuts it short, and a
  // SocketException if there is no descriptor below 1024.
  std::vector<std::string> FindAddresses();

  // Returns what GetSPFRecord() finds; otherwise does the same.
  std::string FindRecord();

  void CreateSocket(int domain, int type, int protocol, bool nonBlocking) override;
  int Receive(char* buffer, unsigned int length, unsigned int& received, int timeoutMs,
              bool fill) override;

 private:
  void TakeFacts(const char* reply, std::size_t size, std::size_t room);
  void Conclude();

  CheckBudget& m_budget;
  LookUp m_lookUp;
  CheckBudget::Wait m_wakeUp = CheckBudget::Wait::kReadable;
  std::vector<std::string> m_texts;  // of the reply's TXT records
};

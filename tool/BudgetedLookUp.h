// BudgetedLookUp is a DNSSocket whose look-ups keep to the budget of a check, and that knows what
// came of them. It asks and reads as DNSSocket does.
//
// One thread at a time. A look-up blocks as DNSSocket's do, but never past the deadline. Where it
// times out it needs no large stack; where the query cannot be sent, as without a route, it needs
// that of StringFormat, as DNSSocket does.

#pragma once

#include <string>
#include <vector>

#include "framework/core/Export.h"
#include "framework/dns/DNSSocket.h"
#include "tool/CheckBudget.h"
#include "tool/LookUp.h"

class FWK_EXPORT BudgetedLookUp : public DNSSocket {
 public:
  // Asks about `domain`. `budget` must outlive the object.
  BudgetedLookUp(const std::string& domain, CheckBudget& budget);
  ~BudgetedLookUp() noexcept(false) override;

  // Make the one look-up of the object, as GetARecords and GetSPFRecord do, and tell the budget's
  // observer. Throw a BudgetException when the budget does not allow the look-up or cuts it short,
  // and a SocketException when no descriptor below 1024 can be had.
  std::vector<std::string> FindAddresses();
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

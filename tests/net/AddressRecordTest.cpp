#include <gtest/gtest.h>
#include <netinet/in.h>

#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "framework/net/AddressRecord.h"

namespace {

using Octets = std::vector<unsigned char>;

AddressRecord MakeRecord(const Octets& bytes, const std::string& name) {
  sockaddr_storage address{};
  std::memcpy(&address, bytes.data(), bytes.size());
  return {2,   1, 6, reinterpret_cast<const sockaddr*>(&address), static_cast<int>(bytes.size()),
          name};
}

Octets BytesOf(const AddressRecord& record) {
  return {record.GetAddress(), record.GetAddress() + record.GetLength()};
}

void ExpectRecord(const AddressRecord& record, const Octets& bytes, const std::string& name) {
  EXPECT_EQ(record.GetFamily(), 2);
  EXPECT_EQ(record.GetSocketType(), 1);
  EXPECT_EQ(record.GetProtocol(), 6);
  EXPECT_EQ(record.GetLength(), static_cast<int>(bytes.size()));
  EXPECT_EQ(record.GetCanonicalName(), name);
  EXPECT_EQ(BytesOf(record), bytes);
}

const Octets kBytes = {2, 0, 0, 53, 192, 0, 2, 1, 0, 0, 0, 0, 0, 0, 0, 0};
const Octets kOtherBytes = {10, 0, 1, 2, 3, 4, 5, 6};

}  // namespace

TEST(AddressRecordTest, ARecordKeepsWhatItWasGiven) {
  ExpectRecord(MakeRecord(kBytes, "host.test"), kBytes, "host.test");
}

TEST(AddressRecordTest, ARecordHoldsACopyOfItsBytes) {
  sockaddr_in address{};
  address.sin_port = htons(53);
  const AddressRecord record(2, 1, 0, reinterpret_cast<const sockaddr*>(&address), sizeof(address),
                             "");
  address.sin_port = htons(99);
  EXPECT_EQ(BytesOf(record), (Octets{0, 0, 0, 53, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(AddressRecordTest, ACopyOutlivesItsSource) {
  std::optional<AddressRecord> source = MakeRecord(kBytes, "host.test");
  const AddressRecord copy = *source;
  EXPECT_NE(copy.GetAddress(), source->GetAddress());
  source.reset();
  ExpectRecord(copy, kBytes, "host.test");
}

TEST(AddressRecordTest, AnAssignedRecordOutlivesItsSource) {
  std::optional<AddressRecord> source = MakeRecord(kOtherBytes, "other.test");
  AddressRecord target = MakeRecord(kBytes, "host.test");
  target = *source;
  EXPECT_NE(target.GetAddress(), source->GetAddress());
  source.reset();
  ExpectRecord(target, kOtherBytes, "other.test");
}

TEST(AddressRecordTest, AssigningARecordToItselfChangesNothing) {
  AddressRecord record = MakeRecord(kBytes, "host.test");
  const AddressRecord& itself = record;
  record = itself;
  ExpectRecord(record, kBytes, "host.test");
}

TEST(AddressRecordTest, MovingARecordKeepsAllFields) {
  AddressRecord source = MakeRecord(kBytes, "host.test");
  AddressRecord moved = std::move(source);
  ExpectRecord(moved, kBytes, "host.test");
  AddressRecord target = MakeRecord(kOtherBytes, "");
  target = std::move(moved);
  ExpectRecord(target, kBytes, "host.test");
}

TEST(AddressRecordTest, AnAddressMayBeEmpty) {
  const AddressRecord copy = AddressRecord(2, 1, 6, nullptr, 0, "");
  ExpectRecord(AddressRecord(copy), {}, "");
}

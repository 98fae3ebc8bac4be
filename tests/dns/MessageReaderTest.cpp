#include <gtest/gtest.h>

#include <limits>

#include "framework/dns/MessageReader.h"
#include "tests/support/Bytes.h"

namespace {

constexpr std::uint32_t kLast = std::numeric_limits<std::uint32_t>::max();

const Bytes kMessage = {0x12, 0x34, 'a', 'b', 0, 0xFF};

}  // namespace

TEST(MessageReaderTest, TheSizeIsThatOfTheMessage) {
  EXPECT_EQ(MessageReader(kMessage).GetSize(), 6U);
  EXPECT_EQ(MessageReader(Bytes{}).GetSize(), 0U);
}

TEST(MessageReaderTest, APositionIsInsideUpToTheLastByte) {
  const MessageReader reader(kMessage);
  EXPECT_TRUE(reader.Contains(0));
  EXPECT_TRUE(reader.Contains(5));
  EXPECT_FALSE(reader.Contains(6));
  EXPECT_FALSE(reader.Contains(kLast));
}

TEST(MessageReaderTest, NoPositionIsInsideAnEmptyMessage) {
  EXPECT_FALSE(MessageReader(Bytes{}).Contains(0));
}

TEST(MessageReaderTest, BytesAreReadUnsigned) {
  const MessageReader reader(kMessage);
  EXPECT_EQ(reader.ReadByte(0), 0x12);
  EXPECT_EQ(reader.ReadByte(5), 0xFF);
}

TEST(MessageReaderTest, NumbersAreReadHighByteFirst) {
  EXPECT_EQ(MessageReader(kMessage).ReadUint16(0), 0x1234);
}

TEST(MessageReaderTest, BytesOutsideTheMessageAreZero) {
  const MessageReader reader(kMessage);
  EXPECT_EQ(reader.ReadByte(6), 0);
  EXPECT_EQ(reader.ReadByte(kLast), 0);
  EXPECT_EQ(reader.ReadUint16(6), 0);
  EXPECT_EQ(reader.ReadCString(6), "");
  EXPECT_EQ(reader.ReadCString(kLast), "");
}

TEST(MessageReaderTest, ANumberThatBeginsAtTheLastByteHasAZeroLowByte) {
  EXPECT_EQ(MessageReader(kMessage).ReadUint16(5), 0xFF00);
}

TEST(MessageReaderTest, ATextEndsAtTheNextZeroByte) {
  EXPECT_EQ(MessageReader(kMessage).ReadCString(2), "ab");
  EXPECT_EQ(MessageReader(kMessage).ReadCString(4), "");
}

TEST(MessageReaderTest, ATextWithoutAZeroByteEndsWithTheMessage) {
  EXPECT_EQ(MessageReader(kMessage).ReadCString(5), "\xFF");
}

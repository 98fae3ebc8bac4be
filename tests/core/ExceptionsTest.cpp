#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <memory>
#include <string>
#include <type_traits>

#include "framework/core/Exceptions.h"
#include "tests/core/FailingPthread.h"
#include "tests/support/RealFunction.h"

namespace {

// Whether strerror() changes errno, as any library call may.
thread_local bool strerrorChangesErrno = false;

}  // namespace

extern "C" char* strerror(int code) noexcept {
  static const auto real = RealFunction(&strerror, "strerror");
  char* const text = real(code);
  if (strerrorChangesErrno) {
    errno = EDOM;
  }
  return text;
}

namespace {

void ExpectTexts(const StdException& exception, const char* text) {
  EXPECT_STREQ(exception.what(), text);
  EXPECT_STREQ(exception.GetMessage(), text);
  EXPECT_STREQ(static_cast<const std::exception&>(exception).what(), text);
}

// Returns 'x' for each of `Handled` that catches a thrown `Class`, and '.' for the others.
template <typename Class, typename... Handled>
std::string CaughtAsOneOf() {
  return {(std::is_convertible_v<Class*, Handled*> ? 'x' : '.')...};
}

// Has a mark for each class, in the order of the test below.
template <typename Class>
std::string CaughtAs() {
  return CaughtAsOneOf<Class, StdException, StdSystemException, SocketException,
                       SocketClosedException, RBLSocketException, UDPSocketException,
                       UDPSocketTimeoutException, ConfigException>();
}

// Only StdSystemException has more data, and no class has a what() of its own.
template <typename Class>
constexpr bool kIsPlain =
    std::is_same_v<decltype(&Class::what), decltype(&StdException::what)>&&
        std::is_copy_constructible_v<Class>&& std::is_copy_assignable_v<Class>&&
            std::has_virtual_destructor_v<Class> &&
    sizeof(Class) == sizeof(void*) + sizeof(std::string);

TEST(ExceptionsTest, EachClassHasOnlyTheTextAndTheWhatOfTheFirst) {
  EXPECT_TRUE(kIsPlain<StdException>);
  EXPECT_TRUE(kIsPlain<SocketException>);
  EXPECT_TRUE(kIsPlain<SocketClosedException>);
  EXPECT_TRUE(kIsPlain<RBLSocketException>);
  EXPECT_TRUE(kIsPlain<UDPSocketException>);
  EXPECT_TRUE(kIsPlain<UDPSocketTimeoutException>);
  EXPECT_TRUE(kIsPlain<ConfigException>);
  EXPECT_TRUE((std::is_same_v<decltype(&StdSystemException::what), decltype(&StdException::what)>));
}

TEST(ExceptionsTest, EachClassIsCaughtAsItselfAndAsItsBases) {
  EXPECT_EQ(CaughtAs<StdException>(), "x.......");
  EXPECT_EQ(CaughtAs<StdSystemException>(), "xx......");
  EXPECT_EQ(CaughtAs<SocketException>(), "x.x.....");
  EXPECT_EQ(CaughtAs<SocketClosedException>(), "x.xx....");
  EXPECT_EQ(CaughtAs<RBLSocketException>(), "x.x.x...");
  EXPECT_EQ(CaughtAs<UDPSocketException>(), "x....x..");  // not a SocketException
  EXPECT_EQ(CaughtAs<UDPSocketTimeoutException>(), "x....xx.");
  EXPECT_EQ(CaughtAs<ConfigException>(), "x......x");
}

TEST(ExceptionsTest, TheTextIsTheMessageUnchangedForEveryClass) {
  const char* const text = " 100%s of\tit :: failed\n";
  ExpectTexts(StdException(text), text);
  ExpectTexts(StdSystemException(7, text), text);
  ExpectTexts(SocketException(text), text);
  ExpectTexts(SocketClosedException(text), text);
  ExpectTexts(RBLSocketException(text), text);
  ExpectTexts(UDPSocketException(text), text);
  ExpectTexts(UDPSocketTimeoutException(text), text);
  ExpectTexts(ConfigException(text), text);
}

TEST(ExceptionsTest, ASystemExceptionCarriesItsCode) {
  EXPECT_EQ(StdSystemException(35, "text").GetCode(), 35);
  EXPECT_EQ(StdSystemException(-2147483647 - 1, "text").GetCode(), -2147483647 - 1);
}

TEST(ExceptionsTest, ASystemExceptionWithoutACodeTakesItFromErrno) {
  const std::string function = "Socket::CreateSocket - socket";
  errno = EMFILE;
  const StdSystemException exception(function);
  EXPECT_EQ(exception.GetCode(), 24);
  ExpectTexts(exception,
              "Socket::CreateSocket - socket :: failed with code 24: Too many open files");
}

TEST(ExceptionsTest, ASystemExceptionWithAnEmptyFunctionHasOnlyTheSystemsText) {
  const std::string function;
  errno = ENOENT;
  const StdSystemException exception(function);
  EXPECT_EQ(exception.GetCode(), 2);
  ExpectTexts(exception, "No such file or directory");
}

TEST(ExceptionsTest, ASystemExceptionReadsErrnoBeforeAnyOtherCall) {
  const std::string function = "Socket::Destroy - close";
  strerrorChangesErrno = true;
  errno = EBADF;
  const StdSystemException exception(function);
  const int changed = errno;
  strerrorChangesErrno = false;
  EXPECT_EQ(changed, EDOM);
  EXPECT_EQ(exception.GetCode(), 9);
  ExpectTexts(exception, "Socket::Destroy - close :: failed with code 9: Bad file descriptor");
}

TEST(ExceptionsTest, ACopyOwnsItsText) {
  auto first =
      std::make_unique<StdSystemException>(16, "a text that is too long to be kept inside");
  const StdSystemException copy(*first);
  EXPECT_NE(copy.what(), first->what());
  first.reset();
  ExpectTexts(copy, "a text that is too long to be kept inside");
  EXPECT_EQ(copy.GetCode(), 16);

  StdSystemException assigned(1, "other");
  assigned = copy;
  ExpectTexts(assigned, "a text that is too long to be kept inside");
  EXPECT_EQ(assigned.GetCode(), 16);
}

TEST(ExceptionsTest, CheckReturnCodeIsTrueForTheExpectedResult) {
  EXPECT_TRUE(CheckReturnCode(0, "x", 0));
  EXPECT_TRUE(CheckReturnCode(5, "x", 5));
  EXPECT_TRUE(CheckReturnCode(0, nullptr, 0));
}

TEST(ExceptionsTest, CheckReturnCodeThrowsTheNameAndTheResult) {
  ExpectThrown([] { CheckReturnCode(16, "pthread_mutex_destroy", 0); },
               "pthread_mutex_destroy returned 16", 16);
  ExpectThrown([] { CheckReturnCode(-1, "sem_wait", 0); }, "sem_wait returned -1", -1);
  ExpectThrown([] { CheckReturnCode(3, "", 0); }, " returned 3", 3);
}

TEST(ExceptionsTest, CheckReturnCodeComparesWithTheExpectedResult) {
  ExpectThrown([] { CheckReturnCode(0, "x", 5); }, "x returned 0", 0);
}

TEST(ExceptionsTest, CheckReturnCodeCallsANullNameAnUnknownFunction) {
  ExpectThrown([] { CheckReturnCode(3, nullptr, 0); }, "unknown function returned 3", 3);
}

TEST(ExceptionsTest, CheckReturnCodeIgnoresErrno) {
  errno = ENOENT;
  ExpectThrown([] { CheckReturnCode(22, "x", 0); }, "x returned 22", 22);
}

TEST(ExceptionsTest, ASystemErrorHasThePlaceTheCodeAndTheSystemsText) {
  EXPECT_EQ(FormatSystemError("UDPSocket", 110),
            "UDPSocket :: failed with code 110: Connection timed out");
  EXPECT_EQ(FormatSystemError(" ", 0), "  :: failed with code 0: Success");
  EXPECT_EQ(FormatSystemError("x", -1), "x :: failed with code -1: Unknown error -1");
}

TEST(ExceptionsTest, ASystemErrorWithoutAPlaceIsOnlyTheSystemsText) {
  EXPECT_EQ(FormatSystemError("", 2), "No such file or directory");
}

}  // namespace

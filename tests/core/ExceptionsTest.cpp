#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "framework/core/Exceptions.h"
#include "tests/support/RealFunction.h"

namespace {

// Whether strerror spoils errno, as any library call may.
thread_local bool strerrorSpoilsErrno = false;

}  // namespace

extern "C" char* strerror(int code) noexcept {
  static const auto real = RealFunction(&strerror, "strerror");
  char* const text = real(code);
  if (strerrorSpoilsErrno) {
    errno = EDOM;
  }
  return text;
}

namespace {

// base is the class directly above derived: nothing of the tree stands between them.
template <typename Derived, typename Base>
constexpr bool kDerivesPublicly =
    std::is_base_of_v<Base, Derived>&& std::is_convertible_v<Derived*, Base*>;

static_assert(kDerivesPublicly<StdException, std::exception>);
static_assert(kDerivesPublicly<StdSystemException, StdException>);
static_assert(kDerivesPublicly<SocketException, StdException>);
static_assert(kDerivesPublicly<SocketClosedException, SocketException>);
static_assert(kDerivesPublicly<RBLSocketException, SocketException>);
static_assert(kDerivesPublicly<UDPSocketException, StdException>);
static_assert(kDerivesPublicly<UDPSocketTimeoutException, UDPSocketException>);
static_assert(kDerivesPublicly<ConfigException, StdException>);

// what() has one implementation, only StdSystemException adds data, and all may be copied.
template <typename Exception>
constexpr bool kIsPlainMember =
    std::is_same_v<decltype(&Exception::what), decltype(&StdException::what)>&&
        std::has_virtual_destructor_v<Exception>&& std::is_copy_constructible_v<Exception>&&
            std::is_copy_assignable_v<Exception> &&
    sizeof(Exception) == sizeof(StdException);

static_assert(sizeof(StdException) == sizeof(void*) + sizeof(std::string));
static_assert(kIsPlainMember<SocketException>);
static_assert(kIsPlainMember<SocketClosedException>);
static_assert(kIsPlainMember<RBLSocketException>);
static_assert(kIsPlainMember<UDPSocketException>);
static_assert(kIsPlainMember<UDPSocketTimeoutException>);
static_assert(kIsPlainMember<ConfigException>);
static_assert(std::is_same_v<decltype(&StdSystemException::what),
                             const char* (StdException::*)() const noexcept>);
static_assert(std::is_same_v<decltype(std::declval<StdSystemException>().GetCode()), std::int32_t>);
static_assert(std::has_virtual_destructor_v<StdSystemException>);

template <typename Handled, typename Thrown>
bool HandlerCatches(const Thrown& thrown) {
  try {
    throw thrown;
  } catch (const Handled&) {
    return true;
  } catch (...) {
    return false;
  }
}

void ExpectTexts(const StdException& exception, const char* text) {
  EXPECT_STREQ(exception.what(), text);
  EXPECT_STREQ(exception.GetMessage(), text);
  EXPECT_STREQ(static_cast<const std::exception&>(exception).what(), text);
}

void ExpectThrown(const std::function<void()>& call, const char* text, std::int32_t code) {
  try {
    call();
    ADD_FAILURE() << "nothing was thrown; expected " << text;
  } catch (const StdException& exception) {
    ExpectTexts(exception, text);
    ASSERT_EQ(typeid(exception), typeid(StdSystemException));
    EXPECT_EQ(dynamic_cast<const StdSystemException&>(exception).GetCode(), code);
  }
}

// Which of Bases are Class itself or among its bases.
template <typename Class, typename... Bases>
std::string BasesAmong() {
  return {(std::is_base_of_v<Bases, Class> ? 'x' : '.')...};
}

// A mark for each class of the tree, in this order.
template <typename Class>
std::string BasesOf() {
  return BasesAmong<Class, StdException, StdSystemException, SocketException, SocketClosedException,
                    RBLSocketException, UDPSocketException, UDPSocketTimeoutException,
                    ConfigException>();
}

TEST(ExceptionsTest, EachClassIsWhatTheTreeSaysAndNothingElse) {
  EXPECT_EQ(BasesOf<StdException>(), "x.......");
  EXPECT_EQ(BasesOf<StdSystemException>(), "xx......");
  EXPECT_EQ(BasesOf<SocketException>(), "x.x.....");
  EXPECT_EQ(BasesOf<SocketClosedException>(), "x.xx....");
  EXPECT_EQ(BasesOf<RBLSocketException>(), "x.x.x...");
  EXPECT_EQ(BasesOf<UDPSocketException>(), "x....x..");
  EXPECT_EQ(BasesOf<UDPSocketTimeoutException>(), "x....xx.");
  EXPECT_EQ(BasesOf<ConfigException>(), "x......x");
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

TEST(ExceptionsTest, AnEmptyMessageIsAnEmptyText) {
  ExpectTexts(StdException(""), "");
  ExpectTexts(UDPSocketTimeoutException(""), "");
}

TEST(ExceptionsTest, ASystemExceptionCarriesItsCode) {
  EXPECT_EQ(StdSystemException(35, "text").GetCode(), 35);
  EXPECT_EQ(StdSystemException(-2147483647 - 1, "text").GetCode(), -2147483647 - 1);
}

TEST(ExceptionsTest, ASystemExceptionOfAFunctionAloneTakesItsCodeFromErrno) {
  const std::string function = "Socket::CreateSocket - socket";
  errno = EMFILE;
  const StdSystemException exception(function);
  EXPECT_EQ(exception.GetCode(), 24);
  ExpectTexts(exception,
              "Socket::CreateSocket - socket :: failed with code 24: Too many open files");
}

TEST(ExceptionsTest, ASystemExceptionOfAnEmptyFunctionHasTheSystemsTextAlone) {
  const std::string function;
  errno = ENOENT;
  const StdSystemException exception(function);
  EXPECT_EQ(exception.GetCode(), 2);
  ExpectTexts(exception, "No such file or directory");
}

TEST(ExceptionsTest, ErrnoIsReadOnceBeforeAnyOtherCall) {
  const std::string function = "Socket::Destroy - close";
  strerrorSpoilsErrno = true;
  errno = EBADF;
  const StdSystemException exception(function);
  const int spoiled = errno;
  strerrorSpoilsErrno = false;
  EXPECT_EQ(spoiled, EDOM);
  EXPECT_EQ(exception.GetCode(), 9);
  ExpectTexts(exception, "Socket::Destroy - close :: failed with code 9: Bad file descriptor");
}

TEST(ExceptionsTest, AHandlerForTheRootCatchesEveryClass) {
  EXPECT_TRUE(HandlerCatches<StdException>(StdException("")));
  EXPECT_TRUE(HandlerCatches<StdException>(StdSystemException(1, "")));
  EXPECT_TRUE(HandlerCatches<StdException>(SocketException("")));
  EXPECT_TRUE(HandlerCatches<StdException>(SocketClosedException("")));
  EXPECT_TRUE(HandlerCatches<StdException>(RBLSocketException("")));
  EXPECT_TRUE(HandlerCatches<StdException>(UDPSocketException("")));
  EXPECT_TRUE(HandlerCatches<StdException>(UDPSocketTimeoutException("")));
  EXPECT_TRUE(HandlerCatches<StdException>(ConfigException("")));
  EXPECT_TRUE(HandlerCatches<std::exception>(ConfigException("")));
}

TEST(ExceptionsTest, AClosedSocketIsCaughtAsASocketExceptionAndAsTheRoot) {
  EXPECT_TRUE(HandlerCatches<SocketException>(SocketClosedException("")));
  EXPECT_TRUE(HandlerCatches<StdException>(SocketClosedException("")));
  EXPECT_FALSE(HandlerCatches<RBLSocketException>(SocketClosedException("")));
}

TEST(ExceptionsTest, ABlocklistFailureIsCaughtAsASocketException) {
  EXPECT_TRUE(HandlerCatches<SocketException>(RBLSocketException("")));
  EXPECT_FALSE(HandlerCatches<SocketClosedException>(RBLSocketException("")));
}

TEST(ExceptionsTest, AUDPTimeoutIsCaughtAsAUDPExceptionButNotAsASocketException) {
  EXPECT_TRUE(HandlerCatches<UDPSocketException>(UDPSocketTimeoutException("")));
  EXPECT_FALSE(HandlerCatches<SocketException>(UDPSocketTimeoutException("")));
  EXPECT_FALSE(HandlerCatches<SocketException>(UDPSocketException("")));
  EXPECT_FALSE(HandlerCatches<UDPSocketTimeoutException>(UDPSocketException("")));
}

TEST(ExceptionsTest, ASystemExceptionIsNotASocketException) {
  EXPECT_FALSE(HandlerCatches<SocketException>(StdSystemException(1, "")));
  EXPECT_FALSE(HandlerCatches<StdSystemException>(SocketException("")));
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
  ExpectThrown([] { CheckReturnCode(35, "pthread_mutex_lock", 0); },
               "pthread_mutex_lock returned 35", 35);
}

TEST(ExceptionsTest, CheckReturnCodeComparesWithTheExpectedResultAndNotWithZero) {
  ExpectThrown([] { CheckReturnCode(0, "x", 5); }, "x returned 0", 0);
}

TEST(ExceptionsTest, CheckReturnCodePrintsANegativeResultWithItsSign) {
  ExpectThrown([] { CheckReturnCode(-1, "sem_wait", 0); }, "sem_wait returned -1", -1);
}

TEST(ExceptionsTest, CheckReturnCodeNamesANullFunctionUnknown) {
  ExpectThrown([] { CheckReturnCode(3, nullptr, 0); }, "unknown function returned 3", 3);
}

TEST(ExceptionsTest, CheckReturnCodeKeepsAnEmptyName) {
  ExpectThrown([] { CheckReturnCode(3, "", 0); }, " returned 3", 3);
}

TEST(ExceptionsTest, CheckReturnCodeTakesTheResultAndNotErrnoForItsCode) {
  errno = ENOENT;
  ExpectThrown([] { CheckReturnCode(22, "x", 0); }, "x returned 22", 22);
}

TEST(ExceptionsTest, ASystemErrorHasThePlaceTheCodeAndTheSystemsText) {
  EXPECT_EQ(FormatSystemError("Socket::CreateSocket - socket", 24),
            "Socket::CreateSocket - socket :: failed with code 24: Too many open files");
  EXPECT_EQ(FormatSystemError("UDPSocket", 110),
            "UDPSocket :: failed with code 110: Connection timed out");
  EXPECT_EQ(FormatSystemError(" ", 0), "  :: failed with code 0: Success");
}

TEST(ExceptionsTest, ASystemErrorPrintsANegativeCodeWithItsSign) {
  EXPECT_EQ(FormatSystemError("x", -1), "x :: failed with code -1: Unknown error -1");
}

TEST(ExceptionsTest, ASystemErrorWithoutAPlaceIsTheSystemsTextAlone) {
  EXPECT_EQ(FormatSystemError("", 2), "No such file or directory");
}

}  // namespace

#include "host/error_record.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <string>

namespace marrow {
namespace {

ErrorRef described(const std::string& text) {
  return makeError("DomainErrorDomain", 3, {{kLocalizedDescriptionKey, text}});
}

TEST(ErrorRecord, KeepsDomainCodeAndUserInfo) {
  const ErrorRef error = makeError("DomainErrorDomain", -1, {{"MWOperationSuccess", true}});
  EXPECT_EQ(error->domain(), "DomainErrorDomain");
  EXPECT_EQ(error->code(), -1);
  EXPECT_EQ(error->userInfo(), (UserInfo{{"MWOperationSuccess", true}}));
}

TEST(ErrorRecord, ATextGivenAsALiteralIsText) {
  const ErrorRef error = makeError("D", 1, {{kLocalizedDescriptionKey, "reason"}});
  EXPECT_EQ(error->localizedDescription(), "reason");
}

TEST(ErrorRecord, TheDescriptionLeavesOutWhatIsAbsent) {
  EXPECT_EQ(makeError("DomainErrorDomain", -7)->description(), "DomainErrorDomain code -7");
}

TEST(ErrorRecord, TheDescriptionHasTheReason) {
  EXPECT_EQ(described("No volume.")->description(), "DomainErrorDomain code 3: No volume.");
}

TEST(ErrorRecord, TheDescriptionHasTheUnderlyingError) {
  const ErrorRef error = makePOSIXError(89, {{kUnderlyingErrorKey, described("No volume.")}});
  EXPECT_EQ(error->description(),
            "POSIXErrorDomain code 89 (underlying DomainErrorDomain code 3: No volume.)");
}

TEST(ErrorRecord, UnderlyingErrorsNest) {
  const ErrorRef inner = makeError("A", 1, {{kUnderlyingErrorKey, makeError("B", 2)}});
  const ErrorRef outer = makeError(
      "C", 3, {{kLocalizedDescriptionKey, std::string("why")}, {kUnderlyingErrorKey, inner}});
  EXPECT_EQ(outer->description(), "C code 3: why (underlying A code 1 (underlying B code 2))");
}

TEST(ErrorRecord, AnEntryOfAnotherTypeIsAbsent) {
  const ErrorRef error =
      makeError("D", 1, {{kLocalizedDescriptionKey, true}, {kUnderlyingErrorKey, true}});
  EXPECT_EQ(error->localizedDescription(), std::nullopt);
  EXPECT_EQ(error->underlyingError(), nullptr);
  EXPECT_EQ(error->description(), "D code 1");
}

TEST(ErrorRecord, ANullUnderlyingErrorIsAbsent) {
  EXPECT_EQ(makeError("D", 1, {{kUnderlyingErrorKey, ErrorRef()}})->description(), "D code 1");
}

TEST(ErrorRecord, APOSIXErrorHasTheErrnoValueAsItsCode) {
  const ErrorRef error = makePOSIXError(ENOENT);
  EXPECT_EQ(error->domain(), "POSIXErrorDomain");
  EXPECT_EQ(error->code(), ENOENT);
  EXPECT_TRUE(error->userInfo().empty());
}

TEST(ErrorRecord, StoringReplacesWhatTheSlotHeld) {
  ErrorRef slot = described("old");
  storeError(&slot, described("new"));
  EXPECT_EQ(slot->localizedDescription(), "new");
  storeError(&slot, nullptr);
  EXPECT_EQ(slot, nullptr);
}

TEST(ErrorRecord, StoringWithoutASlotDoesNothing) {
  const ErrorRef error = described("kept");
  storeError(nullptr, error);
  EXPECT_EQ(error.use_count(), 1);
}

TEST(ErrorRecord, ErrnoTextsAreTheSystemsOwn) {
  EXPECT_EQ(errorNumberText(ENOENT), "No such file or directory");
  EXPECT_EQ(errorNumberText(EBUSY), "Device or resource busy");
  EXPECT_EQ(errorNumberText(99999), "Unknown error 99999");
}

}  // namespace
}  // namespace marrow

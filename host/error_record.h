// An error record says why something failed: a domain, a code within that domain, and a map with
// what else is known. Records are immutable and shared between threads; an absent record is a null
// ErrorRef. A caller that wants to know hands over an error slot, which may itself be null.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>

namespace marrow {

class ErrorRecord;
using ErrorRef = std::shared_ptr<const ErrorRecord>;
using ErrorSlot = ErrorRef*;

using UserInfoValue = std::variant<bool, std::string, ErrorRef>;
using UserInfo = std::map<std::string, UserInfoValue, std::less<>>;

// The domain whose codes are errno values (errno(3)).
inline constexpr char kPOSIXErrorDomain[] = "POSIXErrorDomain";

// The two keys of a user-info map that every domain shares.
inline constexpr char kLocalizedDescriptionKey[] = "LocalizedDescription";  // std::string
inline constexpr char kUnderlyingErrorKey[] = "UnderlyingError";            // ErrorRef

class ErrorRecord {
 public:
  ErrorRecord(std::string domain, std::int64_t code, UserInfo userInfo);

  const std::string& domain() const { return _domain; }
  std::int64_t code() const { return _code; }
  const UserInfo& userInfo() const { return _userInfo; }

  // Absent when the map has no such entry, or one of another type.
  std::optional<std::string> localizedDescription() const;
  ErrorRef underlyingError() const;

  // "DOMAIN code CODE: DESCRIPTION (underlying ...)", without what is absent.
  std::string description() const;

 private:
  std::string _domain;
  std::int64_t _code;
  UserInfo _userInfo;
};

ErrorRef makeError(std::string domain, std::int64_t code, UserInfo userInfo = {});

// `errorNumber` is an errno value and becomes the code.
ErrorRef makePOSIXError(int errorNumber, UserInfo userInfo = {});

// Puts `error` into the slot; does nothing when the caller gave none.
void storeError(ErrorSlot slot, ErrorRef error);

// The text of an errno value, as strerror(3) gives it; safe from any thread.
std::string errorNumberText(int errorNumber);

}  // namespace marrow

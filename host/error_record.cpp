#include "host/error_record.h"

#include <system_error>
#include <utility>

namespace marrow {

namespace {

template <typename Value>
const Value* entry(const UserInfo& userInfo, const char* key) {
  const auto found = userInfo.find(key);
  return found == userInfo.end() ? nullptr : std::get_if<Value>(&found->second);
}

}  // namespace

ErrorRecord::ErrorRecord(std::string domain, std::int64_t code, UserInfo userInfo)
    : _domain(std::move(domain)), _code(code), _userInfo(std::move(userInfo)) {}

std::optional<std::string> ErrorRecord::localizedDescription() const {
  const auto* text = entry<std::string>(_userInfo, kLocalizedDescriptionKey);
  return text == nullptr ? std::nullopt : std::optional(*text);
}

ErrorRef ErrorRecord::underlyingError() const {
  const auto* error = entry<ErrorRef>(_userInfo, kUnderlyingErrorKey);
  return error == nullptr ? nullptr : *error;
}

std::string ErrorRecord::description() const {
  std::string text = _domain + " code " + std::to_string(_code);
  if (const auto reason = localizedDescription()) {
    text += ": " + *reason;
  }
  if (const auto underlying = underlyingError()) {
    text += " (underlying " + underlying->description() + ")";
  }
  return text;
}

ErrorRef makeError(std::string domain, std::int64_t code, UserInfo userInfo) {
  return std::make_shared<const ErrorRecord>(std::move(domain), code, std::move(userInfo));
}

ErrorRef makePOSIXError(int errorNumber, UserInfo userInfo) {
  return makeError(kPOSIXErrorDomain, errorNumber, std::move(userInfo));
}

void storeError(ErrorSlot slot, ErrorRef error) {
  if (slot != nullptr) {
    *slot = std::move(error);
  }
}

std::string errorNumberText(int errorNumber) {
  return std::generic_category().message(errorNumber);
}

}  // namespace marrow

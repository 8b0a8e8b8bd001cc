// Errors as the library raises and passes them: a number, a source and a description.
#pragma once

#include <cstdint>
#include <exception>
#include <string>

namespace korad {

// The only number the library invents; every other number is the platform's or a
// called component's, passed through unchanged.
inline constexpr int32_t kLibraryError = static_cast<int32_t>(0x80040000u);

// Runtime error numbers that callers test for.
inline constexpr int32_t kErrInvalidCall = 5;      // invalid procedure call or argument
inline constexpr int32_t kErrOverflow = 6;
inline constexpr int32_t kErrOutOfMemory = 7;
inline constexpr int32_t kErrSubscriptRange = 9;
inline constexpr int32_t kErrTypeMismatch = 13;
inline constexpr int32_t kErrFileNotFound = 53;
inline constexpr int32_t kErrFileAlreadyExists = 58;
inline constexpr int32_t kErrDiskFull = 61;
inline constexpr int32_t kErrPermissionDenied = 70;
inline constexpr int32_t kErrPathFileAccess = 75;
inline constexpr int32_t kErrPathNotFound = 76;
inline constexpr int32_t kErrInvalidUseOfNull = 94;
inline constexpr int32_t kErrObjectRequired = 424;
inline constexpr int32_t kErrCantCreateObject = 429;
inline constexpr int32_t kErrNoSuchMember = 438;
inline constexpr int32_t kErrDuplicateKey = 457;
inline constexpr int32_t kErrElementNotFound = 32811;  // a dictionary key that isn't there

class Error : public std::exception {
 public:
  Error(int32_t number, std::string source, std::string description)
      : m_number(number), m_source(std::move(source)), m_description(std::move(description)) {}

  int32_t Number() const noexcept { return m_number; }
  const std::string& Source() const noexcept { return m_source; }
  const std::string& Description() const noexcept { return m_description; }
  const char* what() const noexcept override { return m_description.c_str(); }

 private:
  int32_t m_number;
  std::string m_source;
  std::string m_description;
};

// Raises a failure the routine detected itself: the library's number, no source.
[[noreturn]] void RaiseLibraryError(std::string description);

// Raises a runtime error with its standard description ("Subscript out of range", ...).
[[noreturn]] void RaiseRuntimeError(int32_t number);

// The standard description of a runtime error number; empty for numbers it doesn't know.
std::string RuntimeErrorText(int32_t number);

// Turns whatever a routine body threw into an Error: Error as is, bad_alloc as 7,
// anything else as the library's number with its text.
Error CurrentExceptionAsError();

}  // namespace korad

#include "contracts/error.h"

#include <new>

namespace korad {

void RaiseLibraryError(std::string description) {
  throw Error(kLibraryError, "", std::move(description));
}

std::string RuntimeErrorText(int32_t number) {
  switch (number) {
    case kErrInvalidCall: return "Invalid procedure call or argument";
    case kErrOverflow: return "Overflow";
    case kErrOutOfMemory: return "Out of memory";
    case kErrSubscriptRange: return "Subscript out of range";
    case kErrTypeMismatch: return "Type mismatch";
    case kErrFileNotFound: return "File not found";
    case kErrFileAlreadyExists: return "File already exists";
    case kErrDiskFull: return "Disk full";
    case kErrPermissionDenied: return "Permission denied";
    case kErrPathFileAccess: return "Path/File access error";
    case kErrPathNotFound: return "Path not found";
    case kErrInvalidUseOfNull: return "Invalid use of Null";
    case kErrObjectRequired: return "Object required";
    case kErrCantCreateObject: return "ActiveX component can't create object";
    case kErrNoSuchMember: return "Object doesn't support this property or method";
    case kErrDuplicateKey: return "This key is already associated with an element of this collection";
    case kErrElementNotFound: return "Element not found";
    default: return "";
  }
}

void RaiseRuntimeError(int32_t number) { throw Error(number, "", RuntimeErrorText(number)); }

Error CurrentExceptionAsError() {
  try {
    throw;
  } catch (const Error& e) {
    return e;
  } catch (const std::bad_alloc&) {
    return Error(kErrOutOfMemory, "", RuntimeErrorText(kErrOutOfMemory));
  } catch (const std::exception& e) {
    return Error(kLibraryError, "", e.what());
  } catch (...) {
    return Error(kLibraryError, "", "Unknown failure");
  }
}

}  // namespace korad

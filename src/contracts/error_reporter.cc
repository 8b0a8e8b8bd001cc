#include "contracts/error_reporter.h"

namespace korad {

void ErrorReporter::ReportError(const std::string& description, int32_t number, bool /*reraise*/) const {
  if (m_logManager) {
    m_logManager->Log(description, kErrorCategory, logLevelError);
    return;
  }
  throw Error(number, std::string(kErrorCategory), description);
}

}  // namespace korad

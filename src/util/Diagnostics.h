#pragma once
// Short names for the record code's diagnostic streams; every "[ERROR] ..." and its kin goes
// through these, never straight to std::cerr or std::cout.
#include "vxtrace/io/Diagnostics.h"

namespace vxtrace::detail {

inline std::ostream& errorLog() { return diagnosticStream(DiagnosticLevel::Error); }
inline std::ostream& warningLog() { return diagnosticStream(DiagnosticLevel::Warning); }
inline std::ostream& debugLog() { return diagnosticStream(DiagnosticLevel::Debug); }
inline std::ostream& infoLog() { return diagnosticStream(DiagnosticLevel::Info); }

}  // namespace vxtrace::detail

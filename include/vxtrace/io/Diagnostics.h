#pragma once
// The one door of the library's diagnostic lines ("[ERROR] ...", "[WARNING] ...", "[DEBUG] ...",
// "[INFO] ..."). By default errors and warnings go to std::cerr and debug and info lines to
// std::cout; a DiagnosticSink takes them instead, for the calling thread only, so that two
// readers in two threads keep their lines apart and no process-wide stream is redirected.
#include <functional>
#include <memory>
#include <ostream>
#include <string>

#include "vxtrace/Export.h"

namespace vxtrace {

enum class DiagnosticLevel { Error, Warning, Debug, Info };

namespace detail {
class LineCollector;
}

// The stream the calling thread's next diagnostic line of this level goes to.
VXTRACE_API std::ostream& diagnosticStream(DiagnosticLevel level);

// While alive, receives every diagnostic line the library writes on the constructing thread,
// one call per line, without its newline, with the level of the call that began the line.
// Sinks nest: the previous one is back when this one ends. Lives on the thread that made it.
class VXTRACE_API DiagnosticSink {
 public:
  using Handler = std::function<void(DiagnosticLevel level, const std::string& line)>;

  explicit DiagnosticSink(Handler handler);
  // Hands on an unfinished last line, then puts the previous sink back.
  ~DiagnosticSink();
  DiagnosticSink(const DiagnosticSink&) = delete;
  DiagnosticSink& operator=(const DiagnosticSink&) = delete;

  // Hands on an unfinished line now.
  void flush();

 private:
  std::unique_ptr<detail::LineCollector> collector_;
  detail::LineCollector* previous_;
};

}  // namespace vxtrace

#include "vxtrace/io/Diagnostics.h"

#include <iostream>
#include <streambuf>

namespace vxtrace {

namespace {
thread_local DiagnosticSink* current = nullptr;
}

// Collects characters into lines and hands each finished one to the handler.
class DiagnosticSink::Buffer : public std::streambuf {
 public:
  explicit Buffer(Handler handler) : handler_(std::move(handler)) {}
  void start(DiagnosticLevel level) {
    if (line_.empty()) level_ = level;
  }
  void deliver() {
    if (line_.empty()) return;
    std::string line;
    line.swap(line_);
    if (handler_) handler_(level_, line);
  }

 protected:
  int_type overflow(int_type c) override {
    if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
    put(traits_type::to_char_type(c));
    return c;
  }
  std::streamsize xsputn(const char* s, std::streamsize n) override {
    for (std::streamsize i = 0; i < n; ++i) put(s[i]);
    return n;
  }

 private:
  void put(char c) {
    if (c != '\n') {
      line_.push_back(c);
      return;
    }
    std::string line;
    line.swap(line_);
    if (handler_) handler_(level_, line);
  }

  Handler handler_;
  std::string line_;
  DiagnosticLevel level_ = DiagnosticLevel::Error;
};

DiagnosticSink::DiagnosticSink(Handler handler)
    : buffer_(std::make_unique<Buffer>(std::move(handler))),
      stream_(std::make_unique<std::ostream>(buffer_.get())),
      previous_(current) {
  current = this;
}

DiagnosticSink::~DiagnosticSink() {
  flush();
  current = previous_;
}

void DiagnosticSink::flush() { buffer_->deliver(); }

std::ostream& diagnosticStream(DiagnosticLevel level) {
  if (current != nullptr) {
    current->buffer_->start(level);
    return *current->stream_;
  }
  return level == DiagnosticLevel::Error || level == DiagnosticLevel::Warning ? std::cerr
                                                                               : std::cout;
}

}  // namespace vxtrace

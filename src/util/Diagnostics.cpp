#include "util/Diagnostics.h"

#include <iostream>

namespace vxtrace {

namespace detail {

namespace {
thread_local LineCollector* current = nullptr;
}

LineCollector::LineCollector(Handler handler) : handler_(std::move(handler)), stream_(this) {
  if (!handler_) stream_.setstate(std::ios::badbit);
}

std::ostream& LineCollector::stream(DiagnosticLevel level) {
  if (line_.empty()) level_ = level;
  return stream_;
}

void LineCollector::flush() {
  if (line_.empty()) return;
  std::string line;
  line.swap(line_);
  if (handler_) handler_(level_, line);
}

LineCollector::int_type LineCollector::overflow(int_type c) {
  if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
  put(traits_type::to_char_type(c));
  return c;
}

std::streamsize LineCollector::xsputn(const char* s, std::streamsize n) {
  for (std::streamsize i = 0; i < n; ++i) put(s[i]);
  return n;
}

void LineCollector::put(char c) {
  if (c != '\n') {
    line_.push_back(c);
    return;
  }
  std::string line;
  line.swap(line_);
  if (handler_) handler_(level_, line);
}

DiagnosticScope::DiagnosticScope(LineCollector& collector)
    : collector_(collector), previous_(current) {
  current = &collector;
}

DiagnosticScope::~DiagnosticScope() {
  collector_.flush();
  current = previous_;
}

}  // namespace detail

DiagnosticSink::DiagnosticSink(Handler handler)
    : collector_(std::make_unique<detail::LineCollector>(std::move(handler))),
      previous_(detail::current) {
  detail::current = collector_.get();
}

DiagnosticSink::~DiagnosticSink() {
  flush();
  detail::current = previous_;
}

void DiagnosticSink::flush() { collector_->flush(); }

std::ostream& diagnosticStream(DiagnosticLevel level) {
  if (detail::current != nullptr) return detail::current->stream(level);
  return level == DiagnosticLevel::Error || level == DiagnosticLevel::Warning ? std::cerr
                                                                              : std::cout;
}

}  // namespace vxtrace

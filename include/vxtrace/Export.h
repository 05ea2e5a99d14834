#pragma once
// Marks the library's public classes and functions; everything else stays hidden.
#define VXTRACE_API __attribute__((visibility("default")))

#pragma once
// Marks the library's public classes and functions; everything else stays hidden.
#define VXTRACE_API __attribute__((visibility("default")))
// A member of a public class that only the library itself calls (not exported).
#define VXTRACE_LOCAL __attribute__((visibility("hidden")))

// The library is built with 64-bit off_t and time_t; a 32-bit caller may use either width. So
// the public headers must not depend on them: every standard and system header comes first, then
// the names whose size the two macros change are poisoned, then every public header is read.
#include <bits/stdc++.h>
#include <sys/time.h>
#include <sys/types.h>

static_assert(sizeof(off_t) == 8, "build with -D_FILE_OFFSET_BITS=64");
static_assert(sizeof(time_t) == 8, "build with -D_TIME_BITS=64");

#pragma GCC poison off_t off64_t loff_t ino_t ino64_t blkcnt_t fsblkcnt_t fsfilcnt_t rlim_t
#pragma GCC poison time_t suseconds_t timespec timeval

#include "PublicHeaders.inc"

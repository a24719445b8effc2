#pragma once

/// The symbolic name of an errno number, such as "ENOENT" for 2; null for a number that has none. Two numbers
/// have a second name, which is never given: EAGAIN (EWOULDBLOCK) and EDEADLK (EDEADLOCK).
const char* ErrnoName(int Number);

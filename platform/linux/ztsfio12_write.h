// SPDX-License-Identifier: MIT
//
// Writing pieces whole to a descriptor, for text files and raw files alike.

#ifndef ZTSFIO12_WRITE_H
#define ZTSFIO12_WRITE_H

#include <sys/uio.h>

#include <span>

// Writes all pieces in their order, in one system call unless the system takes less; interrupted
// and short writes go on. Uses up `parts`. 0 or an errno value. For regular files, which raise no
// signal.
[[nodiscard]] int npWriteAll(int fd, std::span<iovec> parts);

// The same at `position`, which moves behind what was written, also on failure. The system's own
// position stays.
[[nodiscard]] int npWriteAllAt(int fd, std::span<iovec> parts, long long& position);

// The same for anything else, such as a pipe: SIGPIPE is held back, so that a closed one is a
// failure like any other.
[[nodiscard]] int npWriteAllWithoutSignal(int fd, std::span<iovec> parts);

#endif

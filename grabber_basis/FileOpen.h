// Opening the files a caller names (configuration and lookup-table files) so that nothing can
// block or take the host down: the path may name a FIFO without a writer, a device such as
// /dev/zero, or a socket. Only regular files are handed out as streams.
#pragma once

#include <cstdio>

namespace qorv {

enum class FileKind {
    None,       // nothing could be opened (missing, no permission, a FIFO without a reader...)
    Regular,    // the stream is open
    Directory,  // exists, but is no file (a directory opens for reading and reads nothing)
    Other,      // a FIFO, device or socket: refused
};

// Opens `path` as fopen would with `mode` ("r", "r+" or "w"), without ever blocking, and returns
// the stream only when what was opened is a regular file; the type is that of the opened
// descriptor, not of the name, so nothing can swap the file in between. `kind` (may be null)
// tells what was found.
FILE* openRegularFile(const char* path, const char* mode, FileKind* kind = nullptr);

}  // namespace qorv

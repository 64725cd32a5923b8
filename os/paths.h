// Splitting and joining paths, and volumes.
#ifndef QVX_OS_PATHS_H
#define QVX_OS_PATHS_H

#include <cstddef>
#include <cstdint>

/// Splits `path` into drive, directory, name and extension. The drive is the text up to the first
/// ":", or the server and share of a path that begins with two separators. Each buffer and each
/// size may be null. A buffer without a size must be large enough. On entry a size holds its
/// buffer's capacity. On return it holds the part's length plus one, or 0 for an absent drive or
/// directory, which is an empty text. Returns 1 when every requested part fitted and was copied; 0
/// when a part did not fit or `path` is null.
int32_t OSSplitPath(const char* path, char* drive, uint32_t* drive_size, char* directory,
                    uint32_t* directory_size, char* name, uint32_t* name_size, char* extension,
                    uint32_t* extension_size);

/// Splits `path` at its last "/". `directory` gets the text in front of it, or "." when there is
/// none; `file` gets the rest. Both buffers hold kPathCapacity bytes, and a longer part is cut.
void GetDirFile(const char* path, char* directory, char* file);

/// Makes `path` absolute against the working directory and writes it to `output`, which has
/// `capacity` bytes. Returns `output`. When the result does not fit, or a relative path meets a
/// working directory of more than 255 characters, returns null and writes an empty text.
char* _fullpath(char* output, const char* path, size_t capacity);

/// Returns the kind of drive: 3 (fixed) for every path.
int32_t OSGetDriveType(const char* path);

/// Returns the only volume: "/".
const char* OSFindFirstVolume(void* first, void* second, void* third);
const char* OSFindNextVolume(const void* handle);
void OSFindCloseVolume(const void* handle);

#endif

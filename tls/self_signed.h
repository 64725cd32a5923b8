// Generating a self-signed certificate and its key on disk.
#ifndef QVX_TLS_SELF_SIGNED_H
#define QVX_TLS_SELF_SIGNED_H

#include <cstdint>

/// Makes, writes and protects the pair for `host_name`, by the rules of tls/pem_files.h. The log
/// tells of each file that was made and how its protection went. Aborts the process when the
/// library cannot make a key. Returns 1 when both files were written, else 0.
int32_t GenerateSelfSignedCertAndPrivateKey(const char* host_name);

/// Write the paths of the two files into a buffer of kPathCapacity bytes; return it. A path that
/// does not fit becomes an empty text, which opens nothing.
char* GetCertificateFilePathName(char* buffer);
char* GetPrivateKeyFilePathName(char* buffer);

#endif

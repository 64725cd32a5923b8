// The extensions of the script engine that the installed web applications ask for. The operations
// throw std::bad_alloc.
#ifndef QVX_WEBCONF_WEBAPP_EXTENSIONS_H
#define QVX_WEBCONF_WEBAPP_EXTENSIONS_H

#include <string>
#include <vector>

/// Clears every isRequested flag of allowablePHPExtensions, then reads every descriptor
/// "webapp/*.xml" of the writable data directory. Returns the result of closing the directory
/// search.
int CheckWebAppXMLsForExtensions();

/// Reads one descriptor and sets the flags of the extensions that its "extension" elements name. A
/// descriptor that cannot be loaded or is not a regular file is logged as an error. A null `path`
/// is ignored.
void ParseWebAppXML(const char* path);

namespace qvx {

/// Returns the paths of the descriptors that cannot be loaded.
std::vector<std::string> BrokenDescriptors();

}  // namespace qvx

#endif

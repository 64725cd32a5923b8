// Whether the web server will load the pair.
//
// The launcher keeps any pair that loads and matches. The server asks for more: it loads every
// certificate of the chain, at the library's own security level.
#ifndef QVX_TLS_SERVED_PAIR_H
#define QVX_TLS_SERVED_PAIR_H

#include <optional>
#include <string>

namespace qvx {

/// Loads the pair on disk as the server will, with this program's library and its settings. Returns
/// the library's reason when it refuses the pair, else nothing. Throws std::bad_alloc.
std::optional<std::string> WhyServerRefusesPair();

}  // namespace qvx

#endif

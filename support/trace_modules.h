// The names that modules have in trace lines.
//
// People search traces for these names, so they stay. No file of this tree has such a name.
#ifndef QVX_SUPPORT_TRACE_MODULES_H
#define QVX_SUPPORT_TRACE_MODULES_H

namespace qvx::trace_modules {

inline constexpr char kNode[] = "src/node.cpp";
inline constexpr char kNodeList[] = "src/nodelist.cpp";
inline constexpr char kNamedNodeMap[] = "src/namednodemap.cpp";
inline constexpr char kDom[] = "src/dom.cpp";
inline constexpr char kEvents[] = "src/events.cpp";
inline constexpr char kLoadAndSave[] = "src/expatls.cpp";
inline constexpr char kStack[] = "src/stack.cpp";
inline constexpr char kMultibyteStrings[] = "src/mbs.cpp";
inline constexpr char kTimestamp[] = "src/timestamp.cpp";

}  // namespace qvx::trace_modules

#endif

// The state of the loader while one document is parsed: the open nodes and the text that is being
// collected. Internal to the document model.
//
// Expat delivers a run of text in several pieces (at each line end, reference and end of a block).
// As long as no listener is registered, nobody can see the pieces arrive. So they are collected in
// the conversion buffer and become one text node at the end of the run, as normalising would make
// them. Names and values are terminated, and the makers of nodes copy them. So only texts that are
// not terminated, or must be cut, go through the buffer.
#ifndef QVX_DOM_PARSE_CONTEXT_H
#define QVX_DOM_PARSE_CONTEXT_H

#include <cstddef>
#include <cstdint>

#include "dom/children.h"
#include "dom/common_parent.h"
#include "dom/dom.h"
#include "dom/listeners.h"
#include "support/stack.h"

struct XML_ParserStruct;

/// The parser's user data; zero-filled, it is ready for utf8tods.
struct DOM_ParseContext {
  char* buffer;              ///< the conversion buffer, from malloc; null until it is first needed
  size_t capacity;           ///< its size in bytes
  stack* open_nodes;         ///< the document, then the open document type or the open elements
  bool in_cdata;             ///< between the start and the end of a CDATA section
  size_t text_length;        ///< bytes of the text run that is being collected in the buffer
  XML_ParserStruct* parser;  ///< borrowed
  bool has_attribute_lists;  ///< declared ones, which may add attributes to start tags
  uint32_t nested_entities;  ///< declared entities that refer to others
  uint32_t defaulted_attributes;  ///< attributes that came from declarations
};

/// Stores at most `maximum` bytes of `source`, up to its NUL, in the conversion buffer and
/// terminates them. Returns the bytes stored with the terminator; -1 with the null-parameter code,
/// or with errno in the error cell when the buffer cannot grow.
int utf8tods(const char* source, size_t maximum, DOM_ParseContext* context);

namespace qvx::dom {

/// Returns the context that a handler was handed.
inline DOM_ParseContext& ContextOf(void* user_data) {
  return *static_cast<DOM_ParseContext*>(user_data);
}

// A handler hands its name on and not a site, which would be built at every call.

/// Records `code` for that handler; returns null.
DOM_Node* FailWithoutTop(const char* handler, const int32_t& code);

/// Returns the innermost open node; null, with `code` recorded, when there is none.
inline DOM_Node* Top(const char* handler, const DOM_ParseContext& context, const int32_t& code) {
  auto* top = static_cast<DOM_Node*>(stack_peek(context.open_nodes));
  return top != nullptr ? top : FailWithoutTop(handler, code);
}

/// Puts errno into the error cell and appends the line of the handler.
void FailWithErrno(const char* handler);

/// Makes `node` the innermost open one.
void Push(const char* handler, const DOM_ParseContext& context, DOM_Node* node);

/// Appends a node that was just made and fits under every element. Returns whether it was not
/// refused.
inline bool IsAdopted(DOM_Node* parent, DOM_Node* node) {
  if (parent->nodeType != DOM_ELEMENT_NODE || MayBeHeard()) {
    return DOM_Node_appendChild(parent, node) != nullptr;
  }
  LinkFresh(parent, node);
  if (!LeadsToCommonParent(parent, parent->ownerDocument)) {
    updateCommonParent(parent);
  }
  return true;
}

/// Destroys `node` (may be null), which was not made or was refused. Returns null.
DOM_Node* Refuse(const char* handler, const DOM_Node* parent, DOM_Node* node);

/// Appends a node that was just made. Returns it; or null, with the node destroyed, when it is null
/// or was refused.
inline DOM_Node* Adopt(const char* handler, DOM_Node* parent, DOM_Node* node) {
  return node != nullptr && IsAdopted(parent, node) ? node : Refuse(handler, parent, node);
}

/// Makes a text node of the collected pieces. Returns whether no failure is pending, old or new.
bool FinishText(DOM_ParseContext& context);

/// Sets the handlers of texts and CDATA sections.
void InstallTextHandlers(XML_ParserStruct* parser);

}  // namespace qvx::dom

#endif

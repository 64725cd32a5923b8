// What the loader keeps while one document is parsed. Internal to the document model.
#ifndef QVX_DOM_EXPATLS_H
#define QVX_DOM_EXPATLS_H

#include <cstddef>
#include <cstdint>

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
  uint32_t nested_entities;  ///< declared entities that refer to others
  uint32_t defaulted_attributes;  ///< attributes that came from declarations
};

/// Stores at most `maximum` bytes of `source`, up to its NUL, in the conversion buffer and
/// terminates them. Returns the bytes stored with the terminator; -1 with the null-parameter code,
/// or with errno in the error cell when the buffer cannot grow.
int utf8tods(const char* source, size_t maximum, DOM_ParseContext* context);

namespace qvx::dom {

/// Makes a text node of what is being collected. Returns whether no failure is pending, be it of
/// before or of now.
bool FinishText(DOM_ParseContext& context);

/// Sets the handlers of the context's parser and hands them the context.
void InstallHandlers(DOM_ParseContext* context);

}  // namespace qvx::dom

#endif

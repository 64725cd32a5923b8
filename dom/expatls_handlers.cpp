// The handlers: Expat calls one for each construct, and it appends a node to the innermost open
// one.
//
// A failure in a handler is noted in the error cell. From then on every handler returns at once,
// and the load ends after the block in work.
//
// Expat delivers a run of text in several pieces (at each line end, reference and end of a block).
// As long as nobody can see the pieces arrive, because no listener is registered, they are
// collected in the conversion buffer and become one text node at the end of the run, as
// normalisation would make them. Names and values come terminated, and whoever makes a node copies
// them, so only what is not terminated or must be cut goes through the buffer.
#include <expat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "dom/attributes.h"
#include "dom/dom.h"
#include "dom/expatls.h"
#include "dom/failure.h"
#include "dom/mutation_events.h"
#include "dom/node_record.h"
#include "support/mbs.h"

using qvx::TracePropagation;
using qvx::TraceSite;
using qvx::dom::Fail;

namespace {

constexpr char kSource[] = "src/expatls.cpp";
constexpr size_t kVersionBytes = 16;   // of the XML declaration; what is longer is cut
constexpr size_t kEncodingBytes = 64;  // likewise
constexpr size_t kWhole = SIZE_MAX;
// The parser goes one level deeper into its stack for each entity that another one's text refers
// to.
constexpr uint32_t kNestedEntities = 4096;
// A short declaration can give every element thousands of attributes, so a small file could ask for
// any memory.
constexpr uint32_t kDefaultedAttributes = 100000;

// Makes the conversion buffer hold `size` bytes; what stands in it stays.
bool Reserve(DOM_ParseContext& context, size_t size) {
  if (size <= context.capacity) {
    return true;
  }
  if (size > INT_MAX) {  // a document string is no longer than that
    errno = ENOMEM;
    return false;
  }
  const size_t capacity = std::max(size, 2 * context.capacity);
  char* buffer = static_cast<char*>(std::realloc(context.buffer, capacity));
  if (buffer == nullptr) {
    return false;
  }
  context.buffer = buffer;
  context.capacity = capacity;
  return true;
}

// Puts `length` bytes and a NUL behind the first `offset` bytes of the conversion buffer.
bool Store(DOM_ParseContext& context, size_t offset, const char* source, size_t length) {
  if (!Reserve(context, offset + length + 1)) {
    qvx::dom::FailErrno({kSource, "utf8tods"});
    return false;
  }
  std::memcpy(context.buffer + offset, source, length);
  context.buffer[offset + length] = '\0';
  return true;
}

DOM_ParseContext& ContextOf(void* user_data) {
  return *static_cast<DOM_ParseContext*>(user_data);
}

// The innermost open node; `code` is recorded when there is none.
DOM_Node* Top(const TraceSite& site, const DOM_ParseContext& context, const int32_t& code) {
  DOM_Node* top = static_cast<DOM_Node*>(stack_peek(context.open_nodes));
  if (top == nullptr) {
    Fail(site, code);
  }
  return top;
}

// Appends a node that was just made. Returns it; or null, with the node destroyed, when it is null
// or was refused.
DOM_Node* Adopt(const TraceSite& site, DOM_Node* parent, DOM_Node* node) {
  if (node != nullptr && DOM_Node_appendChild(parent, node) != nullptr) {
    return node;
  }
  TracePropagation(site);
  DOM_Document_destroyNode(parent->ownerDocument, node);
  return nullptr;
}

void Push(const TraceSite& site, const DOM_ParseContext& context, DOM_Node* node) {
  if (stack_push(context.open_nodes, node) != 0) {
    _exception = errno;
    TracePropagation(site);
  }
}

enum class TextKind { kText, kCdata };

// Makes a node of the text in the conversion buffer.
void AddCharacterData(DOM_ParseContext& context, TextKind kind) {
  const TraceSite site(kSource, "chardata_fn");
  DOM_Node* top = Top(site, context, kNullParameter);
  if (top == nullptr) {
    return;
  }
  const auto make =
      kind == TextKind::kCdata ? DOM_Document_createCDATASection : DOM_Document_createTextNode;
  Adopt(site, top, make(top->ownerDocument, context.buffer));
}

// What every handler that changes the tree does first. Returns the node to append to; null when the
// handler must not do anything, since a failure is pending or there is no open node (`code` is
// recorded).
DOM_Node* Enter(const TraceSite& site, void* user_data, const int32_t& code) {
  DOM_ParseContext& context = ContextOf(user_data);
  return qvx::dom::FinishText(context) ? Top(site, context, code) : nullptr;
}

// Counts what the declarations added to the attributes of a start tag. Returns false, recorded,
// when it is too much.
bool CountDefaulted(const TraceSite& site, DOM_ParseContext& context, const XML_Char** attributes) {
  const XML_Char** defaulted = attributes + XML_GetSpecifiedAttributeCount(context.parser);
  for (; *defaulted != nullptr; defaulted += 2) {
    ++context.defaulted_attributes;
  }
  if (context.defaulted_attributes <= kDefaultedAttributes) {
    return true;
  }
  Fail(site, DOM_PARSER_ERR);
  return false;
}

void start_fn(void* user_data, const XML_Char* name, const XML_Char** attributes) {
  const TraceSite site(kSource, "start_fn");
  DOM_Node* top = Enter(site, user_data, kNullParameter);
  if (top == nullptr || !CountDefaulted(site, ContextOf(user_data), attributes)) {
    return;
  }
  // Only a handler, at the element's insertion, can have set attributes that the look-up would
  // find.
  const auto set_attribute =
      qvx::dom::MayBeHeard() ? DOM_Element_setAttribute : qvx::dom::AddAttribute;
  DOM_Element* element = DOM_Document_createElement(top->ownerDocument, name);
  if (element == nullptr && _exception == ENOMEM) {
    qvx::TracePropagationDetails(site, "name=%s", name);
    return;
  }
  if (Adopt(site, top, element) == nullptr) {
    return;
  }
  for (; *attributes != nullptr; attributes += 2) {
    set_attribute(element, attributes[0], attributes[1]);
    if (_exception != 0) {
      TracePropagation(site);
      return;
    }
  }
  Push(site, ContextOf(user_data), element);
}

void Pop(const TraceSite& site, void* user_data) {
  DOM_ParseContext& context = ContextOf(user_data);
  // A node that stays open, because memory ran out, would get what belongs behind it.
  if (qvx::dom::FinishText(context) && stack_pop(context.open_nodes) == nullptr) {
    _exception = errno;
    TracePropagation(site);
  }
}

void end_fn(void* user_data, const XML_Char* /*name*/) {
  Pop({kSource, "end_fn"}, user_data);
}

// Whether the pieces of a text run may be put together before anyone sees them.
bool IsCollected(const DOM_ParseContext& context) {
  return !context.in_cdata && !qvx::dom::MayBeHeard();
}

void chardata_fn(void* user_data, const XML_Char* bytes, int length) {
  const TraceSite site(kSource, "chardata_fn");
  if (_exception != 0) {
    return;
  }
  if (user_data == nullptr || bytes == nullptr || length <= 0) {
    Fail(site, kNullParameter);
    return;
  }
  DOM_ParseContext& context = ContextOf(user_data);
  if (Top(site, context, kNullParameter) == nullptr) {
    return;
  }
  const bool is_collected = IsCollected(context);
  if (!is_collected && !qvx::dom::FinishText(context)) {
    return;
  }
  const auto size = static_cast<size_t>(length);
  if (!Store(context, context.text_length, bytes, size)) {
    TracePropagation(site);
    return;
  }
  if (is_collected) {
    context.text_length += size;
    return;
  }
  AddCharacterData(context, context.in_cdata ? TextKind::kCdata : TextKind::kText);
}

void cdata_start_fn(void* user_data) {
  if (_exception == 0) {
    ContextOf(user_data).in_cdata = true;
  }
}

void cdata_end_fn(void* user_data) {
  if (_exception == 0) {
    ContextOf(user_data).in_cdata = false;
  }
}

void comment_fn(void* user_data, const XML_Char* data) {
  const TraceSite site(kSource, "comment_fn");
  if (DOM_Node* top = Enter(site, user_data, DOM_PARSER_ERR)) {
    Adopt(site, top, DOM_Document_createComment(top->ownerDocument, data));
  }
}

void processing_fn(void* user_data, const XML_Char* target, const XML_Char* data) {
  const TraceSite site(kSource, "processing_fn");
  if (DOM_Node* top = Enter(site, user_data, DOM_PARSER_ERR)) {
    Adopt(site, top, DOM_Document_createProcessingInstruction(top->ownerDocument, target, data));
  }
}

// Makes `field` a copy of at most `maximum` bytes of `source`, which may be none. Returns false
// with the failure in the error cell.
template <typename Text>
bool CopyInto(Text*& field, DOM_ParseContext& context, const XML_Char* source, size_t maximum) {
  if (source == nullptr) {
    return true;
  }
  if (utf8tods(source, maximum, &context) < 0) {
    return false;
  }
  field = mbsdup(context.buffer);
  if (field == nullptr) {
    _exception = errno;
  }
  return field != nullptr;
}

void xmldecl_fn(void* user_data, const XML_Char* version, const XML_Char* encoding,
                int standalone) {
  const TraceSite site(kSource, "xmldecl_fn");
  DOM_Node* top = Enter(site, user_data, DOM_PARSER_ERR);
  if (top == nullptr) {
    return;
  }
  DOM_ParseContext& context = ContextOf(user_data);
  DOM_DocumentFields& document = DOM_DocumentPart(top);
  qvx::dom::FreeText(top, std::exchange(document.version, nullptr));
  qvx::dom::FreeText(top, std::exchange(document.encoding, nullptr));
  if (!CopyInto(document.version, context, version, kVersionBytes) ||
      !CopyInto(document.encoding, context, encoding, kEncodingBytes)) {
    TracePropagation(site);
    return;
  }
  document.standalone = standalone;
}

void doctype_start_fn(void* user_data, const XML_Char* name, const XML_Char* system_id,
                      const XML_Char* public_id, int /*has_internal_subset*/) {
  const TraceSite site(kSource, "doctype_start_fn");
  DOM_Node* top = Enter(site, user_data, DOM_PARSER_ERR);
  if (top == nullptr) {
    return;
  }
  if (DOM_DocumentPart(top).doctype != nullptr) {
    Fail(site, DOM_PARSER_ERR);
    return;
  }
  DOM_DocumentType* doctype = DOM_Implementation_createDocumentType(name, public_id, system_id);
  if (Adopt(site, top, doctype) != nullptr) {
    Push(site, ContextOf(user_data), doctype);
  }
}

void doctype_end_fn(void* user_data) {
  Pop({kSource, "doctype_end_fn"}, user_data);
}

void eldecl_fn(void* user_data, const XML_Char* /*name*/, XML_Content* model) {
  XML_FreeContentModel(ContextOf(user_data).parser, model);
}

void attdecl_fn(void* /*user_data*/, const XML_Char* /*element*/, const XML_Char* /*attribute*/,
                const XML_Char* /*type*/, const XML_Char* /*default_value*/, int /*is_required*/) {}

// An entity or notation as it is declared; all but the name may be null.
struct Declaration {
  uint16_t node_type;
  const XML_Char* name;
  const XML_Char* value;
  size_t value_length;
  const XML_Char* public_id;
  const XML_Char* system_id;
  const XML_Char* notation_name;
};

void Declare(const TraceSite& site, void* user_data, const Declaration& declaration) {
  DOM_Node* top = Enter(site, user_data, DOM_PARSER_ERR);
  if (top == nullptr) {
    return;
  }
  DOM_ParseContext& context = ContextOf(user_data);
  DOM_Node* node = Document_createNode(top->ownerDocument, declaration.node_type);
  if (node == nullptr) {
    TracePropagation(site);
    return;
  }
  DOM_ExternalIdFields& ids = DOM_ExternalIdPart(node);
  if (!CopyInto(node->nodeName, context, declaration.name, kWhole) ||
      !CopyInto(node->nodeValue, context, declaration.value, declaration.value_length) ||
      !CopyInto(ids.publicId, context, declaration.public_id, kWhole) ||
      !CopyInto(ids.systemId, context, declaration.system_id, kWhole) ||
      !CopyInto(ids.notationName, context, declaration.notation_name, kWhole)) {
    TracePropagation(site);
    DOM_Document_destroyNode(top->ownerDocument, node);
    return;
  }
  Adopt(site, top, node);
}

void entdecl_fn(void* user_data, const XML_Char* name, int is_parameter, const XML_Char* value,
                int value_length, const XML_Char* /*base*/, const XML_Char* system_id,
                const XML_Char* public_id, const XML_Char* notation_name) {
  const TraceSite site(kSource, "entdecl_fn");
  if (is_parameter != 0 || _exception != 0) {
    return;
  }
  const bool refers =
      value != nullptr && std::memchr(value, '&', static_cast<size_t>(value_length)) != nullptr;
  if (refers && ++ContextOf(user_data).nested_entities > kNestedEntities) {
    return Fail(site, DOM_PARSER_ERR);
  }
  Declare(site, user_data,
          {DOM_ENTITY_NODE, name, value, static_cast<size_t>(value_length), public_id, system_id,
           notation_name});
}

void notationdecl_fn(void* user_data, const XML_Char* name, const XML_Char* /*base*/,
                     const XML_Char* system_id, const XML_Char* public_id) {
  Declare({kSource, "notationdecl_fn"}, user_data,
          {DOM_NOTATION_NODE, name, nullptr, 0, public_id, system_id, nullptr});
}

}  // namespace

int utf8tods(const char* source, size_t maximum, DOM_ParseContext* context) {
  if (source == nullptr || context == nullptr) {
    Fail({kSource, "utf8tods"}, kNullParameter);
    return -1;
  }
  const size_t length = strnlen(source, maximum);
  return Store(*context, 0, source, length) ? static_cast<int>(length + 1) : -1;
}

namespace qvx::dom {

bool FinishText(DOM_ParseContext& context) {
  if (_exception == 0 && context.text_length > 0) {
    context.text_length = 0;
    AddCharacterData(context, TextKind::kText);
  }
  return _exception == 0;
}

void InstallHandlers(DOM_ParseContext* context) {
  XML_Parser parser = context->parser;
  XML_SetElementHandler(parser, start_fn, end_fn);
  XML_SetCharacterDataHandler(parser, chardata_fn);
  XML_SetCdataSectionHandler(parser, cdata_start_fn, cdata_end_fn);
  XML_SetCommentHandler(parser, comment_fn);
  XML_SetProcessingInstructionHandler(parser, processing_fn);
  XML_SetXmlDeclHandler(parser, xmldecl_fn);
  XML_SetDoctypeDeclHandler(parser, doctype_start_fn, doctype_end_fn);
  XML_SetElementDeclHandler(parser, eldecl_fn);
  XML_SetAttlistDeclHandler(parser, attdecl_fn);
  XML_SetEntityDeclHandler(parser, entdecl_fn);
  XML_SetNotationDeclHandler(parser, notationdecl_fn);
  XML_SetUserData(parser, context);
}

}  // namespace qvx::dom

// Expat calls a handler for each construct, and it appends a node to the innermost open one.
//
// A failure in a handler is noted in the error cell. From then on every handler returns at once,
// and the load ends after the block in work.
#include "dom/parse_handlers.h"

#include <expat.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <utility>

#include "dom/attributes.h"
#include "dom/failure.h"
#include "dom/listeners.h"
#include "dom/node_memory.h"
#include "support/mbs.h"
#include "support/trace_modules.h"

namespace qvx::dom {
namespace {

constexpr const char* kModule = qvx::trace_modules::kLoadAndSave;
constexpr size_t kVersionBytes = 16;   // of the XML declaration; what is longer is cut
constexpr size_t kEncodingBytes = 64;  // likewise
constexpr size_t kWhole = SIZE_MAX;
/// The parser recurses for each entity that the text of another one refers to.
constexpr uint32_t kNestedEntities = 4096;
/// A short declaration can give every element thousands of attributes, so a small file could ask
/// for any memory.
constexpr uint32_t kDefaultedAttributes = 100000;

/// The first step of every handler that changes the tree. Returns the node to append to. Returns
/// null when a failure is pending, and when there is no open node (`code` is then recorded). The
/// handler must then do nothing.
DOM_Node* Enter(const char* handler, void* user_data, const int32_t& code) {
  DOM_ParseContext& context = ContextOf(user_data);
  return FinishText(context) ? Top(handler, context, code) : nullptr;
}

/// Counts what the declarations added to the attributes of a start tag. Returns false, recorded,
/// when it is too much.
bool CountDefaulted(const char* handler, DOM_ParseContext& context, const XML_Char** attributes) {
  if (!context.has_attribute_lists) {
    return true;
  }
  const XML_Char** defaulted = attributes + XML_GetSpecifiedAttributeCount(context.parser);
  for (; *defaulted != nullptr; defaulted += 2) {
    ++context.defaulted_attributes;
  }
  if (context.defaulted_attributes <= kDefaultedAttributes) {
    return true;
  }
  Fail({kModule, handler}, DOM_PARSER_ERR);
  return false;
}

void start_fn(void* user_data, const XML_Char* name, const XML_Char** attributes) {
  DOM_Node* top = Enter(__func__, user_data, kNullParameter);
  if (top == nullptr || !CountDefaulted(__func__, ContextOf(user_data), attributes)) {
    return;
  }
  // Only a handler of the element's insertion can have set attributes already.
  const auto set_attribute = MayBeHeard() ? DOM_Element_setAttribute : AddAttribute;
  DOM_Element* element = DOM_Document_createElement(top->ownerDocument, name);
  if (element == nullptr && _exception == ENOMEM) {
    qvx::TracePropagationDetails({kModule, __func__}, "name=%s", name);
    return;
  }
  if (Adopt(__func__, top, element) == nullptr) {
    return;
  }
  for (; *attributes != nullptr; attributes += 2) {
    set_attribute(element, attributes[0], attributes[1]);
    if (_exception != 0) {
      TracePropagation({kModule, __func__});
      return;
    }
  }
  Push(__func__, ContextOf(user_data), element);
}

void Pop(const char* handler, void* user_data) {
  DOM_ParseContext& context = ContextOf(user_data);
  // If the node stayed open because memory ran out, it would get the nodes that belong behind it.
  if (FinishText(context) && stack_pop(context.open_nodes) == nullptr) {
    FailWithErrno(handler);
  }
}

void end_fn(void* user_data, const XML_Char* /*name*/) {
  Pop(__func__, user_data);
}

void comment_fn(void* user_data, const XML_Char* data) {
  if (DOM_Node* top = Enter(__func__, user_data, DOM_PARSER_ERR)) {
    Adopt(__func__, top, DOM_Document_createComment(top->ownerDocument, data));
  }
}

void processing_fn(void* user_data, const XML_Char* target, const XML_Char* data) {
  if (DOM_Node* top = Enter(__func__, user_data, DOM_PARSER_ERR)) {
    Adopt(__func__, top,
          DOM_Document_createProcessingInstruction(top->ownerDocument, target, data));
  }
}

/// Makes `field` a copy of at most `maximum` bytes of `source`, which may be none. Returns false
/// with the failure in the error cell.
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
  DOM_Node* top = Enter(__func__, user_data, DOM_PARSER_ERR);
  if (top == nullptr) {
    return;
  }
  DOM_ParseContext& context = ContextOf(user_data);
  DOM_DocumentFields& document = DOM_DocumentPart(top);
  FreeText(top, std::exchange(document.version, nullptr));
  FreeText(top, std::exchange(document.encoding, nullptr));
  if (!CopyInto(document.version, context, version, kVersionBytes) ||
      !CopyInto(document.encoding, context, encoding, kEncodingBytes)) {
    TracePropagation({kModule, __func__});
    return;
  }
  document.standalone = standalone;
}

void doctype_start_fn(void* user_data, const XML_Char* name, const XML_Char* system_id,
                      const XML_Char* public_id, int /*has_internal_subset*/) {
  DOM_Node* top = Enter(__func__, user_data, DOM_PARSER_ERR);
  if (top == nullptr) {
    return;
  }
  if (DOM_DocumentPart(top).doctype != nullptr) {
    Fail({kModule, __func__}, DOM_PARSER_ERR);
    return;
  }
  DOM_DocumentType* doctype = DOM_Implementation_createDocumentType(name, public_id, system_id);
  if (Adopt(__func__, top, doctype) != nullptr) {
    Push(__func__, ContextOf(user_data), doctype);
  }
}

void doctype_end_fn(void* user_data) {
  Pop(__func__, user_data);
}

void eldecl_fn(void* user_data, const XML_Char* /*name*/, XML_Content* model) {
  XML_FreeContentModel(ContextOf(user_data).parser, model);
}

void attdecl_fn(void* user_data, const XML_Char* /*element*/, const XML_Char* /*attribute*/,
                const XML_Char* /*type*/, const XML_Char* /*default_value*/, int /*is_required*/) {
  ContextOf(user_data).has_attribute_lists = true;
}

/// An entity or notation as it is declared; all but the name may be null.
struct Declaration {
  uint16_t node_type;
  const XML_Char* name;
  const XML_Char* value;
  size_t value_length;
  const XML_Char* public_id;
  const XML_Char* system_id;
  const XML_Char* notation_name;
};

void Declare(const char* handler, void* user_data, const Declaration& declaration) {
  DOM_Node* top = Enter(handler, user_data, DOM_PARSER_ERR);
  if (top == nullptr) {
    return;
  }
  DOM_ParseContext& context = ContextOf(user_data);
  DOM_Node* node = Document_createNode(top->ownerDocument, declaration.node_type);
  if (node == nullptr) {
    TracePropagation({kModule, handler});
    return;
  }
  DOM_ExternalIdFields& ids = DOM_ExternalIdPart(node);
  if (!CopyInto(node->nodeName, context, declaration.name, kWhole) ||
      !CopyInto(node->nodeValue, context, declaration.value, declaration.value_length) ||
      !CopyInto(ids.publicId, context, declaration.public_id, kWhole) ||
      !CopyInto(ids.systemId, context, declaration.system_id, kWhole) ||
      !CopyInto(ids.notationName, context, declaration.notation_name, kWhole)) {
    TracePropagation({kModule, handler});
    DOM_Document_destroyNode(top->ownerDocument, node);
    return;
  }
  Adopt(handler, top, node);
}

void entdecl_fn(void* user_data, const XML_Char* name, int is_parameter, const XML_Char* value,
                int value_length, const XML_Char* /*base*/, const XML_Char* system_id,
                const XML_Char* public_id, const XML_Char* notation_name) {
  if (is_parameter != 0 || _exception != 0) {
    return;
  }
  const bool refers =
      value != nullptr && std::memchr(value, '&', static_cast<size_t>(value_length)) != nullptr;
  if (refers && ++ContextOf(user_data).nested_entities > kNestedEntities) {
    Fail({kModule, __func__}, DOM_PARSER_ERR);
    return;
  }
  Declare(__func__, user_data,
          {DOM_ENTITY_NODE, name, value, static_cast<size_t>(value_length), public_id, system_id,
           notation_name});
}

void notationdecl_fn(void* user_data, const XML_Char* name, const XML_Char* /*base*/,
                     const XML_Char* system_id, const XML_Char* public_id) {
  Declare(__func__, user_data,
          {DOM_NOTATION_NODE, name, nullptr, 0, public_id, system_id, nullptr});
}

}  // namespace

void InstallHandlers(DOM_ParseContext* context) {
  XML_Parser parser = context->parser;
  InstallTextHandlers(parser);
  XML_SetElementHandler(parser, start_fn, end_fn);
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

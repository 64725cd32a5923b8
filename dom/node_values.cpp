// Reading nodes and setting their values (DOM Level 2 Core, interface Node).
#include "dom/dom.h"
#include "dom/failure.h"
#include "dom/node_memory.h"
#include "dom/node_records.h"
#include "support/trace_modules.h"

using namespace qvx::dom;

namespace {

constexpr const char* kModule = qvx::trace_modules::kNode;

bool HasSettableValue(const DOM_Node* node) {
  return IsCharacterData(node) || node->nodeType == DOM_ATTRIBUTE_NODE ||
         node->nodeType == DOM_PROCESSING_INSTRUCTION_NODE;
}

}  // namespace

DOM_String* DOM_Node_getNodeValue(const DOM_Node* node) {
  if (node == nullptr) {
    Fail({kModule, __func__}, kNullParameter);
    return nullptr;
  }
  return node->nodeValue;
}

void DOM_Node_setNodeValue(DOM_Node* node, const DOM_String* value) {
  if (node == nullptr) {
    Fail({kModule, __func__}, kNullParameter);
    return;
  }
  if (!HasSettableValue(node)) {
    return;
  }
  MeasuredText measured;
  if (!MeasureText(value, measured) || !ReplaceValue(node, measured)) {
    FailErrno({kModule, __func__});
  }
}

int DOM_Node_hasChildNodes(const DOM_Node* node) {
  return node != nullptr && node->firstChild != nullptr ? 1 : 0;
}

DOM_DocumentType* DOM_Document_getDoctype(DOM_Document* document) {
  return IsDocument(document) ? DOM_DocumentPart(document).doctype : nullptr;
}

DOM_Element* DOM_Document_getDocumentElement(DOM_Document* document) {
  return IsDocument(document) ? DOM_DocumentPart(document).documentElement : nullptr;
}

uint32_t DOM_CharacterData_getLength(DOM_CharacterData* node) {
  return node != nullptr && IsCharacterData(node) ? DOM_CharacterDataPart(node).length : 0;
}

#include "dom/named_maps.h"

#include "dom/attribute_maps.h"
#include "dom/failure.h"
#include "dom/lists.h"
#include "dom/names.h"
#include "support/trace_modules.h"

namespace qvx::dom {
namespace {

constexpr const char* kModule = qvx::trace_modules::kNamedNodeMap;
constexpr char kSetNamedItem[] = "DOM_NamedNodeMap_setNamedItem";

/// The first node of that name in a map, or null.
DOM_Node* FindNamed(NamedNodeMap* map, const DOM_String* name) {
  if (name == nullptr) {
    return nullptr;
  }
  if (KindOf(map) == ListKind::kAttributes) {
    return FindAttribute(ElementOfMap(map), name);
  }
  DOM_Node* node = nullptr;
  for (int32_t i = 0; (node = DOM_NodeList_item(map, i)) != nullptr && !IsNamed(node, name); ++i) {
  }
  return node;
}

bool IsInUseElsewhere(const NamedNodeMap* map, DOM_Node* node) {
  const bool is_attribute = node->nodeType == DOM_ATTRIBUTE_NODE;
  const DOM_Node* const element = is_attribute ? DOM_AttributePart(node).ownerElement : nullptr;
  return element != nullptr && element != DOM_NodeList_ownerElement(map);
}

bool IsRefused(const NamedNodeMap* map, DOM_Node* node) {
  if (IsView(map)) {
    Fail({kModule, kSetNamedItem}, DOM_NO_MODIFICATION_ALLOWED_ERR);
    return true;
  }
  if (node->ownerDocument != DOM_NodeList_ownerDocument(map)) {
    Fail({kModule, kSetNamedItem}, DOM_WRONG_DOCUMENT_ERR);
    return true;
  }
  if (IsInUseElsewhere(map, node)) {
    Fail({kModule, kSetNamedItem}, DOM_INUSE_ATTRIBUTE_ERR);
    return true;
  }
  return false;
}

}  // namespace

bool PutIntoMap(NamedNodeMap* map, DOM_Node* node, DOM_Node*& displaced) {
  displaced = nullptr;
  if (map == nullptr || node == nullptr || IsRefused(map, node)) {
    return false;
  }
  DOM_Node* const previous = FindNamed(map, node->nodeName);
  if (previous != node && !MayEnter({kModule, kSetNamedItem}, map, node, previous)) {
    return false;
  }
  if (previous == nullptr && NodeList_append(map, node) == nullptr) {
    TracePropagation({kModule, kSetNamedItem});
    return false;
  }
  if (previous != nullptr && previous != node) {
    ReplaceNode(map, previous, node);
    if (node->nodeType == DOM_ATTRIBUTE_NODE) {
      DOM_AttributePart(node).ownerElement = DOM_NodeList_ownerElement(map);
    }
  }
  displaced = previous;
  return true;
}

bool TakeOutOfMap(NamedNodeMap* map, DOM_Node* node) {
  if (map == nullptr || NodeList_exists(map, node) == 0) {
    return false;
  }
  RemoveNode(map, node);
  return true;
}

}  // namespace qvx::dom

using namespace qvx::dom;

NamedNodeMap* Document_createNamedNodeMap(DOM_Document* document) {
  NamedNodeMap* const map = Document_createNodeList(document);
  if (map == nullptr) {
    qvx::TracePropagation({kModule, __func__});
  }
  return map;
}

DOM_Node* DOM_NamedNodeMap_item(NamedNodeMap* map, int32_t index) {
  return DOM_NodeList_item(map, index);
}

DOM_Node* DOM_NamedNodeMap_getNamedItem(const NamedNodeMap* map, const DOM_String* name) {
  return map != nullptr ? FindNamed(const_cast<NamedNodeMap*>(map), name) : nullptr;
}

DOM_Node* DOM_NamedNodeMap_setNamedItem(NamedNodeMap* map, DOM_Node* node) {
  DOM_Node* displaced = nullptr;
  PutIntoMap(map, node, displaced);
  return displaced;
}

DOM_Node* DOM_NamedNodeMap_removeNamedItem(NamedNodeMap* map, const DOM_String* name) {
  if (map != nullptr && IsView(map)) {
    Fail({kModule, __func__}, DOM_NO_MODIFICATION_ALLOWED_ERR);
    return nullptr;
  }
  DOM_Node* const node = map != nullptr ? FindNamed(map, name) : nullptr;
  if (node == nullptr) {
    Fail({kModule, __func__}, DOM_NOT_FOUND_ERR);
    return nullptr;
  }
  RemoveNode(map, node);
  return node;
}

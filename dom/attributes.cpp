#include "dom/attributes.h"

#include "dom/factories.h"
#include "dom/failure.h"
#include "dom/mutation_events.h"
#include "dom/node_record.h"
#include "dom/tree.h"
#include "support/mbs.h"

using namespace qvx::dom;
using qvx::TracePropagation;
using qvx::TraceSite;

namespace {

constexpr const char* kSource = "src/dom.cpp";
constexpr const char* kSetAttribute = "DOM_Element_setAttribute";

NamedNodeMap* MapOf(const DOM_Element* element) {
  return element == nullptr ? nullptr : element->attributes;
}

/// A new attribute, reported on as a failure of setAttribute when it cannot be made.
DOM_Attr* NewAttribute(const DOM_Element* element, const DOM_String* name, const DOM_String* value) {
  const MeasuredText measured_name{name, BytesToCopy(name)};
  if (measured_name.bytes == 0) {
    FailErrno(TraceSite(kSource, "DOM_Document_createAttribute"));
    TraceCreateFailed(TraceSite(kSource, kSetAttribute));
    return nullptr;
  }
  const MeasuredText measured_value{value, BytesToCopy(value)};
  if (measured_value.bytes == 0) {
    FailErrno(TraceSite(kSource, kSetAttribute));
    return nullptr;
  }
  DOM_Attr* attribute = MakeAttribute(element->ownerDocument, measured_name, measured_value);
  if (attribute == nullptr) {
    TraceCreateFailed(TraceSite(kSource, kSetAttribute));
  }
  return attribute;
}

void ChangeValue(DOM_Element* element, DOM_Attr* attribute, const DOM_String* value) {
  DOM_String* copy = mbsdup(value);
  if (copy == nullptr) {
    return FailErrno(TraceSite(kSource, kSetAttribute));
  }
  AnnounceAttributeValue(element, attribute, ExchangeValue(attribute, copy, 0));
  updateCommonParent(element->parentNode);
}

/// Whether the map holds the attribute, which may be gone and so is not looked at.
bool Holds(const NamedNodeMap* map, const DOM_Attr* attribute) {
  int32_t index = 0;
  const DOM_Node* node = DOM_NamedNodeMap_item(map, index);
  while (node != nullptr && node != attribute) {
    node = DOM_NamedNodeMap_item(map, ++index);
  }
  return node != nullptr;
}

/// What follows when `attribute` has been taken out of the map of `element`.
void NoteRemoval(DOM_Element* element, DOM_Attr* attribute) {
  AnnounceAttribute(element, attribute, DOM_ATTR_REMOVAL);
  updateCommonParent(element->parentNode);
}

}  // namespace

void qvx::dom::AddAttribute(DOM_Element* element, const DOM_String* name, const DOM_String* value) {
  if (MapOf(element) == nullptr || name == nullptr || value == nullptr) {
    return;
  }
  DOM_Attr* attribute = NewAttribute(element, name, value);
  if (attribute == nullptr) {
    return;
  }
  if (!AppendToMap(element->attributes, attribute)) {
    FailErrno(TraceSite(kSource, kSetAttribute));
    return FreeNode(attribute);
  }
  AnnounceAttribute(element, attribute, DOM_ATTR_ADDITION);
  updateCommonParent(element->parentNode);
}

DOM_String* DOM_Element_getAttribute(const DOM_Element* element, const DOM_String* name) {
  if (MapOf(element) == nullptr || name == nullptr) {
    return nullptr;
  }
  const DOM_Attr* attribute = DOM_NamedNodeMap_getNamedItem(element->attributes, name);
  DOM_String* copy = mbsdup(attribute == nullptr ? "" : attribute->nodeValue);
  if (copy == nullptr) {
    FailErrno(TraceSite(kSource, __func__));
  }
  return copy;
}

void DOM_Element_setAttribute(DOM_Element* element, const DOM_String* name, const DOM_String* value) {
  if (MapOf(element) == nullptr || name == nullptr || value == nullptr) {
    return;
  }
  DOM_Attr* attribute = DOM_NamedNodeMap_getNamedItem(element->attributes, name);
  if (attribute != nullptr) {
    return ChangeValue(element, attribute, value);
  }
  AddAttribute(element, name, value);
}

void DOM_Element_removeAttribute(DOM_Element* element, const DOM_String* name) {
  if (element == nullptr) {
    return;
  }
  DOM_Attr* attribute = DOM_NamedNodeMap_removeNamedItem(element->attributes, name);
  if (attribute == nullptr) {
    return TracePropagation(TraceSite(kSource, __func__));
  }
  NoteRemoval(element, attribute);
  // A handler may have put it into a map again.
  if (DOM_AttributePart(attribute).ownerElement == nullptr) {
    DOM_Document_destroyNode(element->ownerDocument, attribute);
  }
}

DOM_Attr* DOM_Element_getAttributeNode(const DOM_Element* element, const DOM_String* name) {
  return DOM_NamedNodeMap_getNamedItem(MapOf(element), name);
}

DOM_Attr* DOM_Element_setAttributeNode(DOM_Element* element, DOM_Attr* attribute) {
  const TraceSite site(kSource, __func__);
  if (MapOf(element) == nullptr || attribute == nullptr) {
    return nullptr;
  }
  if (attribute->ownerDocument != element->ownerDocument) {
    Fail(site, DOM_WRONG_DOCUMENT_ERR);
    return nullptr;
  }
  DOM_Attr* displaced = nullptr;
  const MapResult result = PutIntoMap(element->attributes, attribute, &displaced);
  if (result == MapResult::kRefused || result == MapResult::kNoMemory) {
    TracePropagation(site);
    return nullptr;
  }
  if (displaced != nullptr) {
    AnnounceAttribute(element, displaced, DOM_ATTR_REMOVAL);
  }
  // A handler that has removed it again has announced that.
  if (displaced == nullptr || Holds(element->attributes, attribute)) {
    AnnounceAttribute(element, attribute, DOM_ATTR_ADDITION);
  }
  updateCommonParent(element->parentNode);
  return displaced;
}

DOM_Attr* DOM_Element_removeAttributeNode(DOM_Element* element, DOM_Attr* attribute) {
  if (element == nullptr || attribute == nullptr) {
    return nullptr;
  }
  if (MapOf(element) == nullptr || !TakeOutOfMap(element->attributes, attribute)) {
    Fail(TraceSite(kSource, __func__), DOM_NOT_FOUND_ERR);
    return nullptr;
  }
  NoteRemoval(element, attribute);
  return attribute;
}

#include "dom/attributes.h"

#include "dom/announcements.h"
#include "dom/attribute_maps.h"
#include "dom/common_parent.h"
#include "dom/destruction.h"
#include "dom/factories.h"
#include "dom/failure.h"
#include "dom/listeners.h"
#include "dom/named_maps.h"
#include "dom/node_memory.h"
#include "dom/node_records.h"
#include "support/mbs.h"
#include "support/trace_modules.h"

using namespace qvx::dom;
using qvx::TracePropagation;

namespace {

constexpr const char* kModule = qvx::trace_modules::kDom;
constexpr char kSetAttribute[] = "DOM_Element_setAttribute";

NamedNodeMap* MapOf(const DOM_Element* element) {
  return element == nullptr ? nullptr : element->attributes;
}

/// A new attribute, reported on as a failure of setAttribute when it cannot be made.
DOM_Attr* MakeForElement(const DOM_Element* element, const DOM_String* name,
                         const DOM_String* value) {
  MeasuredText measured_name;
  if (!MeasureText(name, measured_name)) {
    FailErrno({kModule, "DOM_Document_createAttribute"});
    TraceCreateFailed({kModule, kSetAttribute});
    return nullptr;
  }
  MeasuredText measured_value;
  if (!MeasureText(value, measured_value)) {
    FailErrno({kModule, kSetAttribute});
    return nullptr;
  }
  DOM_Attr* attribute = MakeAttribute(element->ownerDocument, measured_name, measured_value);
  if (attribute == nullptr) {
    TraceCreateFailed({kModule, kSetAttribute});
  }
  return attribute;
}

/// Returns false with errno set, and nothing changed, when `value` cannot be copied.
bool ChangeValue(DOM_Element* element, DOM_Attr* attribute, const DOM_String* value) {
  MeasuredText measured;
  if (!MeasureText(value, measured)) {
    return false;
  }
  if (!IsAwaited(element, kAttrModified)) {
    return ReplaceValue(attribute, measured);
  }
  DOM_String* const copy = CopyOf(measured);
  if (copy != nullptr) {
    AnnounceAttributeValue(element, attribute, ExchangeValue(attribute, copy, 0));
  }
  return copy != nullptr;
}

bool Holds(const DOM_Element* element, const DOM_Attr* attribute) {
  return static_cast<const AttributeNode*>(attribute)->holder == element;
}

/// Tells whether handlers have put an attribute that was taken out of its element into an element
/// again. If it has left that one too, it belongs to the handler.
class LooseAttribute {
 public:
  explicit LooseAttribute(DOM_Attr* attribute)
      : attribute_(static_cast<const AttributeNode*>(attribute)),
        placements_(attribute_->placements) {}
  bool is_untouched() const { return attribute_->placements == placements_; }

 private:
  const AttributeNode* attribute_;
  uint32_t placements_;
};

/// Announces that `attribute` has left the map of `element`, and notes the change.
void NoteRemoval(DOM_Element* element, DOM_Attr* attribute) {
  AnnounceAttribute(element, attribute, DOM_ATTR_REMOVAL);
  NoteChange(element->parentNode);
}

/// Announces that `attribute` has taken the place of `displaced` in the map of `element`.
void NoteReplacement(DOM_Element* element, DOM_Attr* displaced, DOM_Attr* attribute) {
  AnnounceAttribute(element, displaced, DOM_ATTR_REMOVAL);
  // A handler that has removed it again has announced that.
  if (Holds(element, attribute)) {
    AnnounceAttribute(element, attribute, DOM_ATTR_ADDITION);
  }
  NoteChange(element->parentNode);
}

}  // namespace

void qvx::dom::AddAttribute(DOM_Element* element, const DOM_String* name, const DOM_String* value) {
  const Operation operation;
  DOM_Attr* attribute = MakeForElement(element, name, value);
  if (attribute == nullptr) {
    return;
  }
  LinkAttribute(static_cast<ElementNode*>(element), static_cast<AttributeNode*>(attribute),
                nullptr);
  AnnounceAttribute(element, attribute, DOM_ATTR_ADDITION);
  NoteChange(element->parentNode);
}

DOM_String* DOM_Element_getAttribute(const DOM_Element* element, const DOM_String* name) {
  if (MapOf(element) == nullptr || name == nullptr) {
    return nullptr;
  }
  const DOM_Attr* attribute = FindAttribute(static_cast<const ElementNode*>(element), name);
  MeasuredText measured;
  DOM_String* copy = nullptr;
  if (MeasureText(attribute == nullptr ? "" : attribute->nodeValue, measured)) {
    copy = CopyOf(measured);
  }
  if (copy == nullptr) {
    FailErrno({kModule, __func__});
  }
  return copy;
}

void DOM_Element_setAttribute(DOM_Element* element, const DOM_String* name,
                              const DOM_String* value) {
  if (MapOf(element) == nullptr || name == nullptr || value == nullptr) {
    return;
  }
  const Operation operation;
  DOM_Attr* attribute = FindAttribute(static_cast<const ElementNode*>(element), name);
  if (attribute == nullptr) {
    AddAttribute(element, name, value);
  } else if (ChangeValue(element, attribute, value)) {
    NoteChange(element->parentNode);
  } else {
    FailErrno({kModule, __func__});
  }
}

void DOM_Element_removeAttribute(DOM_Element* element, const DOM_String* name) {
  if (element == nullptr) {
    return;
  }
  DOM_Attr* attribute = DOM_NamedNodeMap_removeNamedItem(element->attributes, name);
  if (attribute == nullptr) {
    TracePropagation({kModule, __func__});
    return;
  }
  const Operation operation;
  const LooseAttribute loose(attribute);
  NoteRemoval(element, attribute);
  if (loose.is_untouched()) {
    DOM_Document_destroyNode(element->ownerDocument, attribute);
  }
}

DOM_Attr* DOM_Element_getAttributeNode(const DOM_Element* element, const DOM_String* name) {
  return DOM_NamedNodeMap_getNamedItem(MapOf(element), name);
}

DOM_Attr* DOM_Element_setAttributeNode(DOM_Element* element, DOM_Attr* attribute) {
  if (MapOf(element) == nullptr || attribute == nullptr) {
    return nullptr;
  }
  if (attribute->ownerDocument != element->ownerDocument) {
    Fail({kModule, __func__}, DOM_WRONG_DOCUMENT_ERR);
    return nullptr;
  }
  DOM_Attr* displaced = nullptr;
  if (!PutIntoMap(element->attributes, attribute, displaced)) {
    TracePropagation({kModule, __func__});
    return nullptr;
  }
  const Operation operation;
  if (displaced == attribute) {
    NoteReplacement(element, attribute, attribute);
    return Holds(element, attribute) && !IsDoomed(element) ? attribute : nullptr;
  }
  if (displaced == nullptr) {
    AnnounceAttribute(element, attribute, DOM_ATTR_ADDITION);
    NoteChange(element->parentNode);
    return nullptr;
  }
  const LooseAttribute loose(displaced);
  NoteReplacement(element, displaced, attribute);
  return loose.is_untouched() ? Released(displaced) : nullptr;
}

DOM_Attr* DOM_Element_removeAttributeNode(DOM_Element* element, DOM_Attr* attribute) {
  if (element == nullptr || attribute == nullptr) {
    return nullptr;
  }
  if (MapOf(element) == nullptr || !TakeOutOfMap(element->attributes, attribute)) {
    Fail({kModule, __func__}, DOM_NOT_FOUND_ERR);
    return nullptr;
  }
  const Operation operation;
  const LooseAttribute loose(attribute);
  NoteRemoval(element, attribute);
  return loose.is_untouched() ? Released(attribute) : nullptr;
}

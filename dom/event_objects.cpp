// Event objects (DOM Level 2 Events, interfaces DocumentEvent, Event and those derived from it).
#include <cstdlib>
#include <cstring>

#include "dom/dom.h"
#include "dom/failure.h"
#include "support/trace_modules.h"

using namespace qvx::dom;

namespace {

constexpr const char* kModule = qvx::trace_modules::kEvents;
constexpr uint32_t kModifiers = 8;

/// Sets what all kinds of events have; false for an event or type that is not to be used.
bool Init(DOM_Event* event, const DOM_String* type, int bubbles, int cancelable) {
  if (event == nullptr || type == nullptr || *type == '\0') {
    return false;
  }
  event->type = type;
  event->bubbles = bubbles != 0 ? 1 : 0;
  event->cancelable = cancelable != 0 ? 1 : 0;
  return true;
}

uint32_t ModifierBit(uint32_t modifier) {
  return modifier >= 1 && modifier <= kModifiers ? uint32_t{1} << (modifier - 1) : 0;
}

}  // namespace

DOM_Event* DOM_DocumentEvent_createEvent(DOM_Document* document, const DOM_String* module_name) {
  if (document == nullptr || module_name == nullptr) {
    Fail({kModule, __func__}, kNullParameter);
    return nullptr;
  }
  if (std::strcmp(module_name, "Events") != 0 && std::strcmp(module_name, "UIEvents") != 0 &&
      std::strcmp(module_name, "TextEvents") != 0) {
    Fail({kModule, __func__}, DOM_NOT_SUPPORTED_ERR);
    return nullptr;
  }
  auto* event = static_cast<DOM_Event*>(std::calloc(1, sizeof(DOM_Event)));
  if (event == nullptr) {
    FailErrno({kModule, __func__});
  }
  return event;
}

void DOM_DocumentEvent_destroyEvent(DOM_Document* document, DOM_Event* event) {
  if (document != nullptr) {
    std::free(event);
  }
}

void DOM_Event_initEvent(DOM_Event* event, const DOM_String* type, int bubbles, int cancelable) {
  Init(event, type, bubbles, cancelable);
}

void DOM_UIEvent_initUIEvent(DOM_UIEvent* event, const DOM_String* type, int bubbles,
                             int cancelable, void* view, int32_t detail) {
  if (Init(event, type, bubbles, cancelable)) {
    event->view = view;
    event->detail = detail;
  }
}

void DOM_TextEvent_initTextEvent(DOM_TextEvent* event, const DOM_String* type, int bubbles,
                                 int cancelable, void* view, int32_t detail,
                                 const DOM_String* output_string, uint32_t key_val,
                                 uint32_t virt_key_val, uint32_t visible_output_generated,
                                 int num_pad) {
  if (!Init(event, type, bubbles, cancelable)) {
    return;
  }
  event->view = view;
  event->detail = detail;
  event->outputString = output_string;
  event->keyVal = key_val;
  event->virtKeyVal = virt_key_val;
  event->visibleOutputGenerated = visible_output_generated;
  event->numPad = num_pad != 0 ? 1 : 0;
}

void DOM_TextEvent_initModifier(DOM_TextEvent* event, uint32_t modifier, int value) {
  if (event == nullptr) {
    return;
  }
  if (value != 0) {
    event->modifiers |= ModifierBit(modifier);
    return;
  }
  event->modifiers &= ~ModifierBit(modifier);
}

int DOM_TextEvent_checkModifier(const DOM_TextEvent* event, uint32_t modifier) {
  return event != nullptr && (event->modifiers & ModifierBit(modifier)) != 0 ? 1 : 0;
}

void DOM_MutationEvent_initMutationEvent(DOM_MutationEvent* event, const DOM_String* type,
                                         int bubbles, int cancelable, DOM_Node* related_node,
                                         const DOM_String* prev_value, const DOM_String* new_value,
                                         const DOM_String* attr_name, uint16_t attr_change) {
  if (!Init(event, type, bubbles, cancelable)) {
    return;
  }
  event->relatedNode = related_node;
  event->prevValue = prev_value;
  event->newValue = new_value;
  event->attrName = attr_name;
  event->attrChange = attr_change;
}

void DOM_Event_stopPropagation(DOM_Event* event) {
  if (event != nullptr) {
    event->propagationStopped = 1;
  }
}

void DOM_Event_preventDefault(DOM_Event* event) {
  if (event != nullptr && event->cancelable != 0) {
    event->defaultPrevented = 1;
  }
}

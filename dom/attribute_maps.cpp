#include "dom/attribute_maps.h"

#include <string_view>
#include <unordered_map>

#include "dom/failure.h"
#include "dom/model_state.h"
#include "dom/names.h"
#include "dom/places.h"

namespace qvx::dom {
namespace {

/// The number of attributes from which on an element has an index.
constexpr uint32_t kManyAttributes = 16;

/// Throws std::bad_alloc.
void AddTo(AttributeIndex& index, AttributeNode* attribute) {
  const DOM_String* const name = attribute->nodeName;
  index.is_void =
      index.is_void || name == nullptr || !index.by_name.try_emplace(name, attribute).second;
}

uint32_t LengthOfMap(const ElementNode* element) {
  return static_cast<const AttributeMap*>(element)->length;
}

/// Keep the index of `element`, if there is one, in step with an attribute that came, or that is
/// about to go.
void IndexAttribute(const ElementNode* element, AttributeNode* attribute) {
  const auto index = Model().attribute_indexes.find(element);
  if (index != Model().attribute_indexes.end() &&
      !HasMemoryFor([&] { AddTo(index->second, attribute); })) {
    Model().attribute_indexes.erase(index);
  }
}
void UnindexAttribute(const ElementNode* element, const AttributeNode* attribute) {
  const auto index = Model().attribute_indexes.find(element);
  if (index == Model().attribute_indexes.end()) {
    return;
  }
  if (LengthOfMap(element) == kManyAttributes) {
    Model().attribute_indexes.erase(index);
  } else if (!index->second.is_void) {
    index->second.by_name.erase(attribute->nodeName);
  }
}

/// The index of an element with many attributes, made if there is none; null when memory ran out.
const AttributeIndex* IndexOf(const ElementNode* element) {
  const AttributeIndex* index = nullptr;
  const bool is_whole = HasMemoryFor([&] {
    const auto [place, is_new] = Model().attribute_indexes.try_emplace(element);
    index = &place->second;
    for (AttributeNode* attribute = is_new ? element->first_attribute : nullptr;
         attribute != nullptr; attribute = attribute->next) {
      AddTo(place->second, attribute);
    }
  });
  if (!is_whole) {
    Model().attribute_indexes.erase(element);
  }
  return is_whole ? index : nullptr;
}

AttributeNode* SearchMap(const ElementNode* element, const DOM_String* name) {
  AttributeNode* attribute = element->first_attribute;
  while (attribute != nullptr && !IsNamed(attribute, name)) {
    attribute = attribute->next;
  }
  return attribute;
}

[[gnu::noinline]] AttributeNode* FindAmongMany(const ElementNode* element, const DOM_String* name) {
  const AttributeIndex* const index = NamesCompareByBytes() ? IndexOf(element) : nullptr;
  if (index == nullptr || index->is_void) {
    return SearchMap(element, name);
  }
  const auto found = index->by_name.find(name);
  return found != index->by_name.end() ? found->second : nullptr;
}

}  // namespace

void LinkAttribute(ElementNode* element, AttributeNode* attribute, AttributeNode* next) {
  AttributeMap* const map = element;
  AttributeNode* const first = element->first_attribute;
  AttributeNode* const behind = next != nullptr ? next : first;  // in the ring
  attribute->previous = behind != nullptr ? behind->previous : attribute;
  attribute->next = next;
  if (next != first) {
    attribute->previous->next = attribute;
  } else {
    element->first_attribute = attribute;
  }
  if (behind != nullptr) {
    behind->previous = attribute;
  }
  attribute->holder = element;
  attribute->ownerElement = element;
  ++attribute->placements;
  ++map->length;
  MovePlaceOnInsertion(map, attribute, PreviousAttribute(attribute), next);
  if (map->length > kManyAttributes) {
    IndexAttribute(element, attribute);
  }
}

void UnlinkAttribute(AttributeNode* attribute) {
  ElementNode* const element = attribute->holder;
  AttributeMap* const map = element;
  AttributeNode* const next = attribute->next;
  if (map->length >= kManyAttributes) {
    UnindexAttribute(element, attribute);
  }
  MovePlaceOnRemoval(map, attribute, PreviousAttribute(attribute), next);
  (next != nullptr ? next : element->first_attribute)->previous = attribute->previous;
  if (attribute != element->first_attribute) {
    attribute->previous->next = next;
  } else {
    element->first_attribute = next;
  }
  --map->length;
  attribute->ownerElement = nullptr;
  attribute->holder = nullptr;
}

AttributeNode* FindAttribute(const ElementNode* element, const DOM_String* name) {
  return LengthOfMap(element) < kManyAttributes ? SearchMap(element, name)
                                                : FindAmongMany(element, name);
}

}  // namespace qvx::dom

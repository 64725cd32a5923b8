#include "dom/attribute_index.h"

#include <locale.h>

#include <cstdlib>
#include <cstring>

#include "dom/attribute_chains.h"
#include "dom/hash_index.h"

namespace qvx::dom {

inline size_t HashOfName(const AttributeNode& attribute) {
  return HashOfText(attribute.nodeName);
}

/// The index of one element.
struct AttributeIndex {
  const ElementNode* element;
  HashIndex<AttributeNode, HashOfName> names;
  bool is_void;  ///< some names are equal or null; `names` is empty then
};

namespace {

size_t HashOf(const AttributeIndex& index) {
  return HashOfAddress(index.element);
}

HashIndex<AttributeIndex, HashOf> indexes;

AttributeIndex* IndexOf(const ElementNode* element) {
  return indexes.Find(HashOfAddress(element),
                      [&](const AttributeIndex& index) { return index.element == element; });
}

AttributeNode* Named(const AttributeIndex& index, const DOM_String* name) {
  return index.names.Find(HashOfText(name), [&](const AttributeNode& attribute) {
    return std::strcmp(attribute.nodeName, name) == 0;
  });
}

void FreeIndex(AttributeIndex* index) {
  indexes.Remove(index);
  if (indexes.count() == 0) {
    indexes.Clear();
  }
  index->names.Clear();
  std::free(index);
}

/// Returns false when memory ran out.
bool Add(AttributeIndex& index, AttributeNode* attribute) {
  if (index.is_void) {
    return true;
  }
  if (attribute->nodeName == nullptr || Named(index, attribute->nodeName) != nullptr) {
    index.is_void = true;
    index.names.Clear();
    return true;
  }
  if (!index.names.Reserve(index.names.count() + 1)) {
    return false;
  }
  index.names.Insert(attribute);
  return true;
}

/// The index of an element that has none; null when memory ran out.
AttributeIndex* MakeIndex(const ElementNode* element) {
  auto* index = static_cast<AttributeIndex*>(std::calloc(1, sizeof(AttributeIndex)));
  if (index == nullptr || !indexes.Reserve(indexes.count() + 1)) {
    std::free(index);
    return nullptr;
  }
  index->element = element;
  indexes.Insert(index);
  for (ListEntry* entry = FirstAttribute(element); entry != nullptr; entry = entry->next) {
    if (!Add(*index, static_cast<AttributeNode*>(entry))) {
      FreeIndex(index);
      return nullptr;
    }
  }
  return index;
}

/// Whether names are equal only if their bytes are.
bool ComparesBytes() {
  return uselocale(nullptr) == LC_GLOBAL_LOCALE &&
         std::strcmp(setlocale(LC_COLLATE, nullptr), "C") == 0;
}

}  // namespace

const AttributeIndex* IndexFor(const ElementNode* element) {
  if (!ComparesBytes()) {
    return nullptr;
  }
  const AttributeIndex* index = IndexOf(element);
  if (index == nullptr) {
    index = MakeIndex(element);
  }
  return index != nullptr && !index->is_void ? index : nullptr;
}

AttributeNode* FindByIndex(const AttributeIndex* index, const DOM_String* name) {
  return Named(*index, name);
}

void IndexAttribute(const ElementNode* element, AttributeNode* attribute) {
  AttributeIndex* const index = IndexOf(element);
  if (index != nullptr && !Add(*index, attribute)) {
    FreeIndex(index);
  }
}

void UnindexAttribute(const ElementNode* element, const AttributeNode* attribute) {
  AttributeIndex* const index = IndexOf(element);
  if (index == nullptr) {
    return;
  }
  const AttributeMap* const map = element;
  if (map->length == kManyAttributes) {
    FreeIndex(index);
  } else if (!index->is_void) {
    index->names.Remove(attribute);
  }
}

}  // namespace qvx::dom

#include "dom/attribute_chains.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "dom/node_array.h"

namespace qvx::dom {

AttributeChain* attribute_chains = nullptr;

namespace {

constexpr uint32_t kFirstRoom = 16;
constexpr uint32_t kMostRoom = UINT32_MAX / 2;

uint32_t room = 0;        // of the table
uint32_t begun = 1;       // the first number that was never given out
uint32_t used = 0;        // numbers that are some element's
uint32_t first_free = 0;  // the number that was given up last; 0: none

/// Returns false with errno set, and leaves the table as it was, when memory ran out.
bool Grow() {
  const uint32_t wanted = std::max(2 * room, kFirstRoom);
  if (wanted > kMostRoom) {
    errno = ENOMEM;
    return false;
  }
  if (!ResizeArray(attribute_chains, wanted)) {
    return false;
  }
  room = wanted;
  return true;
}

void FreeTable() {
  std::free(attribute_chains);
  attribute_chains = nullptr;
  room = first_free = 0;
  begun = 1;
}

}  // namespace

bool MakeAttributeChain(ElementNode* element) {
  if (first_free == 0 && begun >= room && !Grow()) {
    return false;
  }
  if (first_free != 0) {
    element->chain = first_free;
    first_free = ChainOf(element).next_free;
  } else {
    element->chain = begun++;
  }
  ++used;
  ChainOf(element) = {};
  return true;
}

void FreeAttributeChain(const ElementNode* element) {
  if (element->chain == 0) {
    return;
  }
  ChainOf(element).next_free = first_free;
  first_free = element->chain;
  if (--used == 0) {
    FreeTable();
  }
}

}  // namespace qvx::dom

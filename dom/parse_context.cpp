#include "dom/parse_context.h"

#include <expat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "dom/factories.h"
#include "dom/failure.h"
#include "dom/linking.h"
#include "dom/listeners.h"
#include "dom/node_memory.h"
#include "support/mbs.h"
#include "support/trace_modules.h"

namespace qvx::dom {
namespace {

constexpr const char* kModule = qvx::trace_modules::kLoadAndSave;

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

// Puts `length` bytes and a NUL behind the first `offset` bytes of the conversion buffer. Returns
// false, recorded, when it cannot grow.
bool Store(DOM_ParseContext& context, size_t offset, const char* source, size_t length) {
  if (!Reserve(context, offset + length + 1)) {
    FailErrno({kModule, "utf8tods"});
    return false;
  }
  std::memcpy(context.buffer + offset, source, length);
  context.buffer[offset + length] = '\0';
  return true;
}

// A text or CDATA section of the `length` bytes in the conversion buffer; null, recorded, when it
// cannot be made.
DOM_Node* MakeText(DOM_Document* document, uint16_t node_type, const char* text, size_t length) {
  const bool is_text = node_type == DOM_TEXT_NODE;
  if (IsAscii(text, length)) {
    const MeasuredText measured{text, length + 1, static_cast<uint32_t>(length)};
    const char* const maker =
        is_text ? "DOM_Document_createTextNode" : "DOM_Document_createCDATASection";
    return MakeCharacterData({trace_modules::kDom, maker}, document, node_type, measured);
  }
  return is_text ? DOM_Document_createTextNode(document, text)
                 : DOM_Document_createCDATASection(document, text);
}

// Makes a node of the `length` bytes in the conversion buffer.
void AddCharacterData(DOM_ParseContext& context, uint16_t node_type, size_t length) {
  DOM_Node* top = Top({kModule, "chardata_fn"}, context, kNullParameter);
  if (top != nullptr) {
    Adopt({kModule, "chardata_fn"}, top,
          MakeText(top->ownerDocument, node_type, context.buffer, length));
  }
}

// Whether the pieces of a text run may be put together before anyone sees them.
bool IsCollected(const DOM_ParseContext& context) {
  return !context.in_cdata && !MayBeHeard();
}

void chardata_fn(void* user_data, const XML_Char* bytes, int length) {
  if (_exception != 0) {
    return;
  }
  if (user_data == nullptr || bytes == nullptr || length <= 0) {
    Fail({kModule, __func__}, kNullParameter);
    return;
  }
  DOM_ParseContext& context = ContextOf(user_data);
  if (Top({kModule, __func__}, context, kNullParameter) == nullptr) {
    return;
  }
  const bool is_collected = IsCollected(context);
  if (!is_collected && !FinishText(context)) {
    return;
  }
  const auto size = static_cast<size_t>(length);
  if (!Store(context, context.text_length, bytes, size)) {
    TracePropagation({kModule, __func__});
    return;
  }
  if (is_collected) {
    context.text_length += size;
    return;
  }
  AddCharacterData(context, context.in_cdata ? DOM_CDATA_SECTION_NODE : DOM_TEXT_NODE, size);
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

}  // namespace

DOM_Node* Top(const TraceSite& site, const DOM_ParseContext& context, const int32_t& code) {
  DOM_Node* top = static_cast<DOM_Node*>(stack_peek(context.open_nodes));
  if (top == nullptr) {
    Fail(site, code);
  }
  return top;
}

void Push(const TraceSite& site, const DOM_ParseContext& context, DOM_Node* node) {
  if (stack_push(context.open_nodes, node) != 0) {
    _exception = errno;
    TracePropagation(site);
  }
}

DOM_Node* Adopt(const TraceSite& site, DOM_Node* parent, DOM_Node* node) {
  if (node != nullptr && parent->nodeType == DOM_ELEMENT_NODE && !MayBeHeard()) {
    LinkChild(parent, node, nullptr);
    updateCommonParent(parent);
    return node;
  }
  if (node != nullptr && DOM_Node_appendChild(parent, node) != nullptr) {
    return node;
  }
  TracePropagation(site);
  DOM_Document_destroyNode(parent->ownerDocument, node);
  return nullptr;
}

bool FinishText(DOM_ParseContext& context) {
  if (_exception == 0 && context.text_length > 0) {
    AddCharacterData(context, DOM_TEXT_NODE, std::exchange(context.text_length, 0));
  }
  return _exception == 0;
}

void InstallTextHandlers(XML_ParserStruct* parser) {
  XML_SetCharacterDataHandler(parser, chardata_fn);
  XML_SetCdataSectionHandler(parser, cdata_start_fn, cdata_end_fn);
}

}  // namespace qvx::dom

using namespace qvx::dom;

int utf8tods(const char* source, size_t maximum, DOM_ParseContext* context) {
  if (source == nullptr || context == nullptr) {
    Fail({kModule, __func__}, kNullParameter);
    return -1;
  }
  const size_t length = strnlen(source, maximum);
  return Store(*context, 0, source, length) ? static_cast<int>(length + 1) : -1;
}

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
#include "dom/listeners.h"
#include "dom/node_memory.h"
#include "support/mbs.h"
#include "support/trace_modules.h"

namespace qvx::dom {
namespace {

constexpr const char* kModule = qvx::trace_modules::kLoadAndSave;
constexpr char kTextHandler[] = "chardata_fn";
/// A text as long as that is not copied out of the conversion buffer, which would need it twice.
constexpr size_t kHandedOver = 16384;

/// Makes the conversion buffer larger, so that it holds `size` bytes; what stands in it stays.
/// Returns false, recorded, when it cannot grow.
[[gnu::noinline]] bool Grow(DOM_ParseContext& context, size_t size) {
  const size_t capacity = std::max(size, 2 * context.capacity);
  char* buffer = nullptr;
  if (size <= INT_MAX) {  // a document string is no longer than that
    buffer = static_cast<char*>(std::realloc(context.buffer, capacity));
  } else {
    errno = ENOMEM;
  }
  if (buffer == nullptr) {
    FailErrno({kModule, "utf8tods"});
    return false;
  }
  context.buffer = buffer;
  context.capacity = capacity;
  return true;
}

bool Reserve(DOM_ParseContext& context, size_t size) {
  return size <= context.capacity || Grow(context, size);
}

/// What a public factory makes of the text in the conversion buffer, which is not ASCII.
DOM_Node* CreateText(DOM_Document* document, uint16_t node_type, const char* text) {
  return node_type == DOM_TEXT_NODE ? DOM_Document_createTextNode(document, text)
                                    : DOM_Document_createCDATASection(document, text);
}

/// Reports as the public factories do.
[[gnu::noinline]] void ReportUnmadeText(uint16_t node_type) {
  ReportUnmade(node_type == DOM_TEXT_NODE ? "DOM_Document_createTextNode"
                                          : "DOM_Document_createCDATASection");
}

/// A node of `length` bytes, which are ASCII; null, recorded, when it cannot be made.
DOM_Node* MakeAsciiText(DOM_Document* document, uint16_t node_type, const char* bytes,
                        size_t length) {
  const auto columns = static_cast<uint32_t>(length);
  DOM_Node* const node = NewCharacterData(document, node_type, {bytes, columns + 1, columns});
  if (node == nullptr) {
    ReportUnmadeText(node_type);
  }
  return node;
}

/// A node of what is in the conversion buffer; null, recorded, when it cannot be made.
DOM_Node* MakeText(DOM_Document* document, uint16_t node_type, const char* text, size_t length) {
  return IsAscii(text, length) ? MakeAsciiText(document, node_type, text, length)
                               : CreateText(document, node_type, text);
}

/// As MakeText, with the conversion buffer itself as the value.
[[gnu::noinline]] DOM_Node* HandOverText(DOM_ParseContext& context, DOM_Document* document,
                                         uint16_t node_type, size_t length) {
  if (!IsAscii(context.buffer, length)) {
    return CreateText(document, node_type, context.buffer);
  }
  DOM_Node* const node = NewCharacterData(document, node_type, {"", 1, 0});
  if (node == nullptr) {
    ReportUnmadeText(node_type);
    return nullptr;
  }
  auto* shrunk = static_cast<char*>(std::realloc(context.buffer, length + 1));
  char* const value = shrunk != nullptr ? shrunk : context.buffer;
  context.buffer = nullptr;
  context.capacity = 0;
  FreeText(node, ExchangeValue(node, value, static_cast<uint32_t>(length)));
  return node;
}

/// Whether the pieces of a text run may be put together before anyone sees them.
bool IsCollected(const DOM_ParseContext& context) {
  return !context.in_cdata && !MayBeHeard();
}

/// Puts a piece of a text run behind those that are in the conversion buffer; records why it
/// cannot.
bool Collect(DOM_ParseContext& context, const DOM_Node* top, const char* bytes, size_t size) {
  if (!Reserve(context, context.text_length + size + 1)) {
    Refuse(kTextHandler, top, nullptr);
    return false;
  }
  std::memcpy(context.buffer + context.text_length, bytes, size);
  context.text_length += size;
  return true;
}

/// Makes a node of what has been collected.
void AddCollected(DOM_ParseContext& context, uint16_t node_type) {
  const size_t length = std::exchange(context.text_length, 0);
  context.buffer[length] = '\0';
  DOM_Node* const top = Top(kTextHandler, context, kNullParameter);
  if (top == nullptr) {
    return;
  }
  Adopt(kTextHandler, top,
        length >= kHandedOver ? HandOverText(context, top->ownerDocument, node_type, length)
                              : MakeText(top->ownerDocument, node_type, context.buffer, length));
}

/// A piece that is a node of its own. ASCII needs no way through the conversion buffer, since its
/// end is known.
[[gnu::noinline]] void AddPiece(DOM_ParseContext& context, DOM_Node* top, const char* bytes,
                                size_t size) {
  if (!FinishText(context)) {
    return;
  }
  const uint16_t node_type = context.in_cdata ? DOM_CDATA_SECTION_NODE : DOM_TEXT_NODE;
  if (IsAscii(bytes, size)) {
    Adopt(kTextHandler, top, MakeAsciiText(top->ownerDocument, node_type, bytes, size));
  } else if (Collect(context, top, bytes, size)) {
    AddCollected(context, node_type);
  }
}

void chardata_fn(void* user_data, const XML_Char* bytes, int length) {
  if (_exception != 0) {
    return;
  }
  if (user_data == nullptr || bytes == nullptr || length <= 0) {
    FailWithoutTop(kTextHandler, kNullParameter);
    return;
  }
  DOM_ParseContext& context = ContextOf(user_data);
  DOM_Node* const top = Top(kTextHandler, context, kNullParameter);
  if (top == nullptr) {
    return;
  }
  const auto size = static_cast<size_t>(length);
  if (IsCollected(context)) {
    Collect(context, top, bytes, size);
    return;
  }
  AddPiece(context, top, bytes, size);
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

[[gnu::noinline]] DOM_Node* FailWithoutTop(const char* handler, const int32_t& code) {
  Fail({kModule, handler}, code);
  return nullptr;
}

void Push(const char* handler, const DOM_ParseContext& context, DOM_Node* node) {
  if (stack_push(context.open_nodes, node) != 0) {
    FailWithErrno(handler);
  }
}

[[gnu::noinline]] void FailWithErrno(const char* handler) {
  _exception = errno;
  TracePropagation({kModule, handler});
}

[[gnu::noinline]] DOM_Node* Refuse(const char* handler, const DOM_Node* parent, DOM_Node* node) {
  TracePropagation({kModule, handler});
  DOM_Document_destroyNode(parent->ownerDocument, node);
  return nullptr;
}

bool FinishText(DOM_ParseContext& context) {
  if (_exception == 0 && context.text_length > 0) {
    AddCollected(context, DOM_TEXT_NODE);
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
  if (!Reserve(*context, length + 1)) {
    return -1;
  }
  std::memcpy(context->buffer, source, length);
  context->buffer[length] = '\0';
  return static_cast<int>(length + 1);
}

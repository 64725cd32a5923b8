// The loader: reads a stream block by block into Expat, whose handlers build the tree.
#include <expat.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

#include "dom/destruction.h"
#include "dom/dom.h"
#include "dom/failure.h"
#include "dom/listeners.h"
#include "dom/model_state.h"
#include "dom/parse_handlers.h"
#include "os/files.h"
#include "support/trace_modules.h"

using qvx::TracePropagation;
using namespace qvx::dom;

namespace {

constexpr const char* kModule = qvx::trace_modules::kLoadAndSave;
constexpr char kFread[] = "DOM_DocumentLS_fread";
constexpr int kBlockSize = 8192;      // what is read and parsed at once
constexpr uint32_t kOpenNodes = 500;  // the document and 499 levels below it

// Where the parser stands. Expat 2.9 deprecates the old names.
#if XML_MAJOR_VERSION == 2 && XML_MINOR_VERSION < 9
constexpr auto* LineNumber = XML_GetCurrentLineNumber;
constexpr auto* ColumnNumber = XML_GetCurrentColumnNumber;
#else
constexpr auto* LineNumber = XML_GetCurrentLineNumber64;
constexpr auto* ColumnNumber = XML_GetCurrentColumnNumber64;
#endif

/// Makes a node of the text that is still being collected: it belongs to the document, also when
/// the load fails. Returns whether no handler has failed. The caller then reports its own failure.
bool EndWithoutFailure(DOM_ParseContext& context) {
  if (FinishText(context)) {
    return true;
  }
  TracePropagation({kModule, kFread});
  return false;
}

// Each of these three records why the load fails, and returns 0.

int FailForWantOfBlock(DOM_ParseContext& context) {
  Model().load_failure.ran_out_of_memory = true;
  if (EndWithoutFailure(context)) {
    FailDetails({kModule, kFread}, DOM_PARSER_ERR, "buf=NULL");
  }
  return 0;
}

int FailToRead(DOM_ParseContext& context, std::FILE* stream, int read_errno) {
  Model().load_failure.ran_out_of_memory = read_errno == ENOMEM;
  if (EndWithoutFailure(context)) {
    // The cell takes the stream's indicator, which has no text. The line has the system's text.
    _exception = std::ferror(stream);
    qvx::Trace({kModule, kFread}, read_errno);
  }
  return 0;
}

int FailToParse(DOM_ParseContext& context) {
  Model().load_failure.ran_out_of_memory = XML_GetErrorCode(context.parser) == XML_ERROR_NO_MEMORY;
  const XML_LChar* text = XML_ErrorString(XML_GetErrorCode(context.parser));
  if (EndWithoutFailure(context)) {
    if (text != nullptr) {
      Model().load_failure.fault = {text, LineNumber(context.parser),
                                    ColumnNumber(context.parser) + 1};
    }
    FailDetails({kModule, kFread}, DOM_PARSER_ERR, "%s: line %u", Shown(text),
                static_cast<unsigned>(LineNumber(context.parser)));
  }
  return 0;
}

/// Returns 1, or 0 with the failure recorded.
int ParseStream(DOM_ParseContext& context, std::FILE* stream) {
  bool is_last = false;
  while (!is_last) {
    void* block = XML_GetBuffer(context.parser, kBlockSize);
    if (block == nullptr) {
      return FailForWantOfBlock(context);
    }
    const size_t size = std::fread(block, 1, kBlockSize, stream);
    const int read_errno = errno;
    if (size == 0 && std::ferror(stream) != 0) {
      return FailToRead(context, stream, read_errno);
    }
    is_last = std::feof(stream) != 0;
    const XML_Status status =
        XML_ParseBuffer(context.parser, static_cast<int>(size), is_last ? 1 : 0);
    if (status != XML_STATUS_OK || _exception != 0) {
      return FailToParse(context);
    }
  }
  return 1;
}

struct ParserFree {
  void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};
using ParserHandle = std::unique_ptr<XML_ParserStruct, ParserFree>;

struct StackDelete {
  void operator()(stack* s) const { stack_del(s, nullptr); }
};
using StackHandle = std::unique_ptr<stack, StackDelete>;

/// While it lives, the document is its own ownerDocument, so every open node leads a handler to the
/// document in which it makes nodes.
class LoadScope {
 public:
  LoadScope(DOM_Document* document, ParserHandle parser)
      : document_(document), parser_(std::move(parser)), open_nodes_(stack_new(kOpenNodes)) {
    context_.parser = parser_.get();
    context_.open_nodes = open_nodes_.get();
    document_->ownerDocument = document_;
    is_started_ = stack_push(open_nodes_.get(), document_) == 0;
  }

  ~LoadScope() {
    std::free(context_.buffer);
    document_->ownerDocument = nullptr;
  }

  LoadScope(const LoadScope&) = delete;
  LoadScope& operator=(const LoadScope&) = delete;
  LoadScope(LoadScope&&) = delete;
  LoadScope& operator=(LoadScope&&) = delete;

  bool is_started() const { return is_started_; }
  DOM_ParseContext& context() { return context_; }

 private:
  /// A handler may destroy what the parse still works on.
  Operation operation_;
  DOM_Document* document_;
  ParserHandle parser_;
  StackHandle open_nodes_;
  DOM_ParseContext context_{};
  bool is_started_ = false;
};

}  // namespace

bool qvx::dom::LoadRanOutOfMemory() {
  return Model().load_failure.ran_out_of_memory;
}

LoadFault qvx::dom::LastLoadFault() {
  return Model().load_failure.fault;
}

int DOM_DocumentLS_load(DOM_Document* document, const char* path) {
  Model().load_failure = {};
  if (document == nullptr || path == nullptr) {
    FailDetails({kModule, __func__}, kNullParameter, "doc=%p,uri=%s", static_cast<void*>(document),
                Shown(path));
    return -1;
  }
  const qvx::File stream(OSfopen(path, "r"));
  if (stream == nullptr) {
    const int32_t error = errno;
    Model().load_failure.ran_out_of_memory = error == ENOMEM;
    FailDetails({kModule, __func__}, error, "uri=%s", path);
    return -1;
  }
  return DOM_DocumentLS_fread(document, stream.get());
}

int DOM_DocumentLS_fread(DOM_Document* document, std::FILE* stream) {
  Model().load_failure = {};
  if (document == nullptr || stream == nullptr) {
    FailDetails({kModule, kFread}, kNullParameter, "doc=%p,stream=%p", static_cast<void*>(document),
                static_cast<void*>(stream));
    return -1;
  }
  _exception = 0;
  if (document->nodeType != DOM_DOCUMENT_NODE) {
    Fail({kModule, kFread}, DOM_WRONG_DOCUMENT_ERR);
    return -1;
  }
  ParserHandle parser(XML_ParserCreate(nullptr));
  if (parser == nullptr) {
    Model().load_failure.ran_out_of_memory = true;
    Fail({kModule, kFread}, DOM_PARSER_ERR);
    return -1;
  }
  LoadScope load(document, std::move(parser));
  if (!load.is_started()) {
    Model().load_failure.ran_out_of_memory = true;
    FailDetails({kModule, kFread}, DOM_PARSER_ERR, "stk=%p",
                static_cast<void*>(load.context().open_nodes));
    return -1;
  }
  InstallHandlers(&load.context());
  // Unheard, a load leaves no neighbouring texts, and nobody can register a listener meanwhile.
  const bool may_meet = MayBeHeard();
  const int result = ParseStream(load.context(), stream);
  if (may_meet || _exception != 0) {
    DOM_Element_normalize(DOM_Document_getDocumentElement(document));
  }
  if (_exception != ENOMEM) {
    return result;
  }
  Model().load_failure.ran_out_of_memory = true;
  return 0;  // also when the texts of a whole document could not be merged: a reader would see
             // their first pieces only
}

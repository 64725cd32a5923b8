// The writer. It writes nodes in document order, without recursion, because a tree may be very
// deep. Nothing is escaped.
#include <cerrno>
#include <cstdint>
#include <cstdio>

#include "dom/dom.h"
#include "dom/failure.h"
#include "dom/node_records.h"
#include "os/files.h"
#include "support/trace_modules.h"

using namespace qvx::dom;

namespace {

constexpr const char* kModule = qvx::trace_modules::kLoadAndSave;

/// Collects the first failure of the stream; nothing is written after it. The stream is locked once
/// for the whole output and not for each piece of it.
class Output {
 public:
  explicit Output(std::FILE* stream) : stream_(stream) { flockfile(stream_); }
  ~Output() { funlockfile(stream_); }
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;
  Output(Output&&) = delete;
  Output& operator=(Output&&) = delete;

  /// Null texts are skipped.
  Output& operator<<(const char* text) {
    if (text != nullptr && error_ == 0 && fputs_unlocked(text, stream_) < 0) {
      NoteError();
    }
    return *this;
  }

  Output& operator<<(char character) {
    if (error_ == 0 && putc_unlocked(character, stream_) == EOF) {
      NoteError();
    }
    return *this;
  }

  int error() const { return error_; }

 private:
  [[gnu::noinline]] void NoteError() { error_ = errno != 0 ? errno : EIO; }

  std::FILE* stream_;
  int error_ = 0;
};

struct Quoted {
  const char* text;
};

Output& operator<<(Output& out, const Quoted& quoted) {
  return out << '"' << quoted.text << '"';
}

void OpenElement(Output& out, const DOM_Element* element) {
  out << '<' << element->nodeName;
  for (const AttributeNode* attribute = static_cast<const ElementNode*>(element)->first_attribute;
       attribute != nullptr; attribute = attribute->next) {
    out << ' ' << attribute->nodeName << '=' << Quoted{attribute->nodeValue};
  }
  if (element->firstChild == nullptr) {
    out << '/';
  }
  out << '>';
}

void OpenDocument(Output& out, const DOM_DocumentFields& document) {
  out << "<?xml";
  if (document.version != nullptr) {
    out << " version=" << Quoted{document.version};
  }
  if (document.standalone >= 0) {
    out << " standalone=" << Quoted{document.standalone == 0 ? "no" : "yes"};
  }
  out << "?>\n";
}

void WriteDocumentType(Output& out, const char* name, const DOM_DocumentTypeFields& doctype) {
  out << "\n<!DOCTYPE " << name;
  if (doctype.systemId != nullptr) {
    out << " SYSTEM " << Quoted{doctype.systemId};
  } else if (doctype.publicId != nullptr) {
    out << " PUBLIC " << Quoted{doctype.publicId};
  }
  if (doctype.internalSubset != nullptr) {
    out << " [\n" << doctype.internalSubset << "]";
  }
  out << ">\n";
}

void WriteEntity(Output& out, const DOM_Node* entity, const DOM_ExternalIdFields& ids) {
  out << "    <!ENTITY " << entity->nodeName;
  if (entity->nodeValue != nullptr) {
    out << " " << Quoted{entity->nodeValue} << ">\n";
    return;
  }
  if (ids.publicId != nullptr) {
    out << " PUBLIC " << Quoted{ids.publicId} << " " << Quoted{ids.systemId};
  } else if (ids.systemId != nullptr) {
    out << " SYSTEM " << Quoted{ids.systemId};
  }
  if (ids.notationName != nullptr) {
    out << " NDATA " << ids.notationName;
  }
  out << ">\n";
}

void WriteNotation(Output& out, const char* name, const DOM_ExternalIdFields& ids) {
  out << "    <!NOTATION " << name;
  if (ids.publicId != nullptr) {
    out << " PUBLIC " << Quoted{ids.publicId};
    if (ids.systemId != nullptr) {
      out << " " << Quoted{ids.systemId};
    }
  } else if (ids.systemId != nullptr) {
    out << " SYSTEM " << Quoted{ids.systemId};
  }
  out << ">\n";
}

/// Writes a node, or the front part of an element or document, whose children follow.
void Open(Output& out, const DOM_Node* node) {
  switch (node->nodeType) {
    case DOM_ELEMENT_NODE:
      OpenElement(out, node);
      return;
    case DOM_TEXT_NODE:
      out << node->nodeValue;
      return;
    case DOM_COMMENT_NODE:
      out << "<!--" << node->nodeValue << "-->";
      return;
    case DOM_PROCESSING_INSTRUCTION_NODE:
      out << "<?" << node->nodeName << ' ' << node->nodeValue << "?>";
      return;
    case DOM_DOCUMENT_NODE:
      OpenDocument(out, DOM_DocumentPart(node));
      return;
    case DOM_DOCUMENT_TYPE_NODE:
      WriteDocumentType(out, node->nodeName, DOM_DocumentTypePart(node));
      return;
    case DOM_ENTITY_NODE:
      WriteEntity(out, node, DOM_ExternalIdPart(node));
      return;
    case DOM_NOTATION_NODE:
      WriteNotation(out, node->nodeName, DOM_ExternalIdPart(node));
      return;
    default:
      return;  // CDATA sections, attributes, entity references and fragments are not written
  }
}

bool HasContent(const DOM_Node* node) {
  return node->nodeType == DOM_DOCUMENT_NODE ||
         (node->nodeType == DOM_ELEMENT_NODE && node->firstChild != nullptr);
}

void Close(Output& out, const DOM_Node* node) {
  if (node->nodeType == DOM_DOCUMENT_NODE) {
    out << '\n';
  } else if (HasContent(node)) {
    out << "</" << node->nodeName << '>';
  }
}

bool IsStopped(const Output& out) {
  return out.error() != 0 || _exception != 0;
}

/// Writes the subtree of `root`. Returns the node at which a failure stopped it, or null.
const DOM_Node* WriteTree(Output& out, const DOM_Node* root) {
  const DOM_Node* node = root;
  for (;;) {
    Open(out, node);
    if (IsStopped(out)) {
      return node;
    }
    if (HasContent(node) && node->firstChild != nullptr) {
      node = node->firstChild;
      continue;
    }
    Close(out, node);
    while (node != root && node->nextSibling == nullptr) {
      node = node->parentNode;
      Close(out, node);
    }
    if (IsStopped(out)) {
      return node;
    }
    if (node == root) {
      return nullptr;
    }
    node = node->nextSibling;
  }
}

}  // namespace

int DOM_DocumentLS_save(DOM_Document* document, const char* path, const DOM_Node* node) {
  const DOM_Node* root = document != nullptr ? document : node;
  if (path == nullptr || root == nullptr) {
    FailDetails({kModule, __func__}, kNullParameter, "doc=%p,uri=%s,node=%p",
                static_cast<void*>(document), Shown(path), static_cast<const void*>(node));
    return -1;
  }
  if (_exception != 0) {  // checked before the opening, which empties the file
    return -1;
  }
  qvx::File file(std::fopen(path, "we"));
  if (file == nullptr) {
    const int32_t error = errno;
    FailDetails({kModule, __func__}, error, "uri=%s", path);
    return -1;
  }
  const bool is_written = DOM_DocumentLS_fwrite(root, file.get()) == 0;
  const bool is_closed =
      std::fclose(file.release()) == 0;  // what a full disk refuses often shows only here
  if (is_written && is_closed) {
    return 0;
  }
  const int32_t error = is_written ? errno : _exception;
  FailDetails({kModule, __func__}, error, "uri=%s", path);
  return -1;
}

int DOM_DocumentLS_fwrite(const DOM_Node* node, std::FILE* stream) {
  if (node == nullptr || stream == nullptr) {
    FailDetails({kModule, __func__}, kNullParameter, "node=%p,stream=%p",
                static_cast<const void*>(node), static_cast<void*>(stream));
    return -1;
  }
  if (_exception != 0) {
    return -1;
  }
  Output out(stream);
  const DOM_Node* stopped_at = WriteTree(out, node);
  if (out.error() != 0) {
    Fail({kModule, __func__}, out.error());
  }
  if (node->nodeType == DOM_DOCUMENT_NODE && stopped_at != nullptr && stopped_at != node) {
    qvx::TracePropagation({kModule, __func__});
  }
  return _exception == 0 ? 0 : -1;
}

int fputds(const DOM_String* text, std::FILE* stream) {
  return text != nullptr && stream != nullptr ? std::fputs(text, stream) : EOF;
}

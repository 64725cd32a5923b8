// Cloning. Nothing here announces anything: all nodes of a clone are new, so no listener could hear
// of them.
//
// The trace of a failure is that of a recursion over the levels. The node that could not be cloned
// says why, or adds a line to that of the factory. Each level above it adds a line.
#include <utility>

#include "dom/attribute_maps.h"
#include "dom/children.h"
#include "dom/common_parent.h"
#include "dom/document_references.h"
#include "dom/dom.h"
#include "dom/factories.h"
#include "dom/failure.h"
#include "dom/handles.h"
#include "dom/node_records.h"
#include "support/mbs.h"
#include "support/trace_modules.h"

using qvx::NodeDeleter;
using qvx::NodeHolder;
using qvx::TracePropagation;
using namespace qvx::dom;

namespace {

constexpr const char* kModule = qvx::trace_modules::kNode;
constexpr char kInnerClone[] = "Node_cloneNode";

NodeHolder Own(DOM_Document* document, DOM_Node* node) {
  return {node, NodeDeleter{document}};
}

void TraceLevel() {
  TracePropagation({kModule, kInnerClone});
}

/// Hands on what a factory made, with the line of the level that asked for it when it made nothing.
DOM_Node* Made(DOM_Node* node) {
  if (node == nullptr) {
    TraceLevel();
  }
  return node;
}

NodeHolder CloneWithDescendants(DOM_Document* document, const DOM_Node* source, int deep);

NodeHolder CloneElement(DOM_Document* document, const DOM_Node* source, int deep) {
  NodeHolder clone = Own(document, Made(DOM_Document_createElement(document, source->nodeName)));
  const AttributeNode* attribute = static_cast<const ElementNode*>(source)->first_attribute;
  for (; clone != nullptr && attribute != nullptr; attribute = attribute->next) {
    // An attribute with other nodes than texts below it cannot be cloned, so nothing recurses.
    NodeHolder copy = CloneWithDescendants(document, attribute, deep);
    if (copy == nullptr) {
      TraceLevel();
      return Own(document, nullptr);
    }
    LinkAttribute(static_cast<ElementNode*>(clone.get()),
                  static_cast<AttributeNode*>(copy.release()), nullptr);
  }
  return clone;
}

DOM_Node* CloneAttribute(DOM_Document* document, const DOM_Node* source) {
  MeasuredText name;
  MeasuredText value;
  if (!MeasureText(source->nodeName, name) || !MeasureText(source->nodeValue, value)) {
    FailErrno({kModule, kInnerClone});
    return nullptr;
  }
  DOM_Attr* const clone = Made(MakeAttribute(document, name, value));
  if (clone != nullptr) {
    DOM_AttributePart(clone).specified = static_cast<const AttributeNode*>(source)->specified;
  }
  return clone;
}

bool CopyText(const DOM_String* text, DOM_String*& copy) {
  copy = mbsdup(text);
  if (copy == nullptr) {
    FailErrno({kModule, kInnerClone});
  }
  return copy != nullptr;
}

NodeHolder CloneDeclaration(DOM_Document* document, const DOM_Node* source) {
  NodeHolder clone = Own(document, Made(Document_createNode(document, source->nodeType)));
  if (clone == nullptr) {
    return clone;
  }
  DOM_String* name = nullptr;
  const bool named = CopyText(source->nodeName, name);
  clone->nodeName = name;
  const DOM_ExternalIdFields& from = DOM_ExternalIdPart(source);
  DOM_ExternalIdFields& to = DOM_ExternalIdPart(clone.get());
  const qvx::TraceSite site = {kModule, kInnerClone};
  const bool whole =
      named &&
      (source->nodeType == DOM_NOTATION_NODE || CopyText(source->nodeValue, clone->nodeValue)) &&
      CopyTextIfAny(site, from.publicId, to.publicId) &&
      CopyTextIfAny(site, from.systemId, to.systemId) &&
      CopyTextIfAny(site, from.notationName, to.notationName);
  return whole ? std::move(clone) : Own(document, nullptr);
}

DOM_Node* CloneDoctype(DOM_Document* document, const DOM_Node* source) {
  const DOM_DocumentTypeFields& fields = DOM_DocumentTypePart(source);
  DOM_DocumentType* const clone = Made(
      DOM_Implementation_createDocumentType(source->nodeName, fields.publicId, fields.systemId));
  if (clone != nullptr && document != nullptr) {
    NameClone(document, clone);
  }
  return clone;
}

/// A clone of `source` without children. The clone of a document is `document` itself.
DOM_Node* CloneByType(DOM_Document* document, const DOM_Node* source, int deep) {
  switch (source->nodeType) {
    case DOM_ELEMENT_NODE:
      return CloneElement(document, source, deep).release();
    case DOM_ATTRIBUTE_NODE:
      return CloneAttribute(document, source);
    case DOM_TEXT_NODE:
      return Made(DOM_Document_createTextNode(document, source->nodeValue));
    case DOM_CDATA_SECTION_NODE:
      return Made(DOM_Document_createCDATASection(document, source->nodeValue));
    case DOM_COMMENT_NODE:
      return Made(DOM_Document_createComment(document, source->nodeValue));
    case DOM_PROCESSING_INSTRUCTION_NODE:
      return Made(
          DOM_Document_createProcessingInstruction(document, source->nodeName, source->nodeValue));
    case DOM_ENTITY_NODE:
    case DOM_NOTATION_NODE:
      return CloneDeclaration(document, source).release();
    case DOM_DOCUMENT_NODE:
      return document;
    case DOM_DOCUMENT_TYPE_NODE:
      return CloneDoctype(document, source);
    case DOM_DOCUMENT_FRAGMENT_NODE:
      return Made(DOM_Document_createDocumentFragment(document));
    default:
      Fail({kModule, kInnerClone}, DOM_NOT_SUPPORTED_ERR);
      return nullptr;
  }
}

/// The clones of the descendants of one node. As in a recursion, a clone gets all its children
/// before it is put under its parent; until then it waits.
class DescendantsCloner {
 public:
  DescendantsCloner(DOM_Document* document, const DOM_Node* source, DOM_Node* clone)
      : document_(document), source_(source), clone_(clone), parent_(clone) {}

  /// Returns false when a node could not be cloned; what is not under `clone` yet is destroyed
  /// then.
  bool Run() {
    const DOM_Node* from = source_->firstChild;
    while (from != nullptr) {
      DOM_Node* const child = CloneByType(document_, from, 1);
      if (child == nullptr) {
        TraceLevelsAbove(from);
        DestroyPending();
        return false;
      }
      if (from->firstChild != nullptr) {
        Open(child);
        from = from->firstChild;
        continue;
      }
      Place(child);
      from = CompleteParents(from);
    }
    return true;
  }

 private:
  /// Makes `child` the parent of what is cloned next. Until it is placed, its link to the next
  /// sibling leads to the parent that it waits for.
  void Open(DOM_Node* child) {
    child->nextSibling = parent_;
    parent_ = child;
  }

  /// Goes back to the parent of the clones around. Returns the one that was open.
  DOM_Node* CloseParent() {
    DOM_Node* const closed = parent_;
    parent_ = std::exchange(closed->nextSibling, nullptr);
    return closed;
  }

  void Place(DOM_Node* child) {
    LinkChild(parent_, child, nullptr);
    NoteChange(parent_);
  }

  /// Places the clones whose last child was that of `from`. Returns the next node to clone.
  const DOM_Node* CompleteParents(const DOM_Node* from) {
    while (from->nextSibling == nullptr) {
      from = from->parentNode;
      if (from == source_) {
        return nullptr;
      }
      DOM_Node* const complete = CloseParent();
      Place(complete);
    }
    return from->nextSibling;
  }

  void TraceLevelsAbove(const DOM_Node* from) const {
    for (; from != source_; from = from->parentNode) {
      TraceLevel();
    }
  }

  void DestroyPending() {
    while (parent_ != clone_) {
      DOM_Document_destroyNode(document_, CloseParent());
    }
  }

  DOM_Document* document_;
  const DOM_Node* source_;
  DOM_Node* clone_;
  DOM_Node* parent_;  // of the clone that is made next
};

NodeHolder CloneWithDescendants(DOM_Document* document, const DOM_Node* source, int deep) {
  NodeHolder clone = Own(document, CloneByType(document, source, deep));
  if (clone != nullptr && (deep == 0 || DescendantsCloner(document, source, clone.get()).Run())) {
    return clone;
  }
  return Own(document, nullptr);
}

}  // namespace

DOM_Node* DOM_Node_cloneNode(DOM_Node* node, int deep) {
  if (node == nullptr) {
    Fail({kModule, __func__}, kNullParameter);
    return nullptr;
  }
  const bool is_document = node->nodeType == DOM_DOCUMENT_NODE;
  DOM_Document* const document = is_document
                                     ? DOM_Implementation_createDocument(nullptr, nullptr, nullptr)
                                     : node->ownerDocument;
  if (is_document && document == nullptr) {
    TracePropagation({kModule, __func__});
    return nullptr;
  }
  DOM_Node* const clone = CloneWithDescendants(document, node, deep).release();
  if (clone == nullptr) {
    TracePropagation({kModule, __func__});
  }
  return clone;
}

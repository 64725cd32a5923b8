#include "tests/dom/model.h"

namespace qvx::test {
namespace {

/// Has `act` done by a handler, in the midst of an operation.
void Amid(const std::function<void(DOM_Event*)>& act) {
  const Tree tree;
  Listener listener{act};
  listener.Hear(tree.root(), "DOMNodeInserted");
  tree.Add(tree.root(), "");
}

DOM_Node* Element(DOM_Document* document) {
  return DOM_Document_createElement(document, "e");
}

TEST(Destruction, NodesThatWaitForTheirEndAreAListThatTakesNone) {
  const Tree tree;
  for (int i = 0; i < 100; ++i) {
    Amid([&](DOM_Event*) {
      DOM_Node* const destroyed = Element(tree.document());
      DOM_Document_destroyNode(tree.document(), destroyed);
      DOM_Node* const place = destroyed->parentNode;
      NodeList* const waiting = place->childNodes;
      ASSERT_EQ(DOM_NodeList_item(waiting, 0), destroyed);
      EXPECT_EQ(place->nodeName + std::to_string(place->nodeType), "#destroyed11");
      DOM_Document_destroyNode(nullptr, place);
      EXPECT_EQ(place->lastChild, destroyed) << "not itself";
      EXPECT_EQ(DOM_EventTarget_listenerCount(place), 0U) << "that of the round before is gone";
      Listener().Hear(place, "x");
      EXPECT_EQ(DOM_EventTarget_listenerCount(place), 1U);
      if (i == 50) {
        DOM_Node_appendChild(tree.root(), destroyed);  // and nothing waits
      }
      const OwnedNode other(i == 0 ? Element(tree.document()) : nullptr);
      if (other != nullptr) {
        EXPECT_EQ(NodeList_append(waiting, other.get()), nullptr);
        EXPECT_EQ(NodeList_insert(waiting, other.get(), destroyed), nullptr);
        EXPECT_EQ(Refusal(NodeList_replace(waiting, other.get(), destroyed)),
                  DOM_HIERARCHY_REQUEST_ERR);
        EXPECT_EQ(other->parentNode, nullptr);
        DOM_Document_destroyNodeList(nullptr, waiting, 1);
        EXPECT_EQ(DOM_NodeList_item(waiting, 0), destroyed) << "it is destroyed already";
        DOM_Document_destroyNodeList(nullptr, waiting, 0);
        EXPECT_EQ(destroyed->parentNode, nullptr);
        DOM_Document_destroyNode(nullptr, destroyed);
      }
    });
  }
}

TEST(Destruction, ChangesAmongNodesThatWaitAreNotedUntilTheirEnd) {
  const Tree tree;
  Amid([&](DOM_Event*) {
    for (int i = 0; i < 4; ++i) {
      DOM_Node* const destroyed = Element(tree.document());
      DOM_Document_destroyNode(tree.document(), destroyed);
      updateCommonParent(destroyed);
      EXPECT_EQ(tree.common_parent() == destroyed->parentNode, i == 3);
    }
  });
  EXPECT_EQ(tree.common_parent(), nullptr);
}

TEST(Destruction, RingThroughAnAttributeDoesNotHoldAnOperationUp) {
  const Tree tree;
  DOM_Document* const document = tree.document();
  DOM_Attr* const attribute = DOM_Document_createAttribute(document, "a");
  DOM_Node* const reference =
      DOM_Node_appendChild(attribute, DOM_Document_createEntityReference(document, "r"));
  DOM_Node* const element = DOM_Node_appendChild(reference, Element(document));
  DOM_Element_setAttributeNode(element, attribute);
  EXPECT_EQ(TakeError(), 0);
  Amid([&](DOM_Event*) {
    DOM_Document_destroyNode(document, Element(document));
    DOM_Node* const below = DOM_Node_appendChild(element, Element(document));
    EXPECT_NE(below, nullptr);
    EXPECT_EQ(DOM_Node_removeChild(element, below), below);
    DOM_Document_destroyNode(document, below);
  });
  Amid([&](DOM_Event*) {
    DOM_Document_destroyNode(document, element);
    EXPECT_EQ(reference->firstChild, nullptr);
  });
}

}  // namespace
}  // namespace qvx::test

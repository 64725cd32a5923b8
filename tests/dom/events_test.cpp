#include "dom/node_records.h"
#include "tests/dom/model.h"

namespace qvx::test {
namespace {

TEST(Event, ModulesAreNamedExactly) {
  const Tree tree;
  for (const std::string name :
       {"Events", "UIEvents", "TextEvents", "MutationEvents", "events", ""}) {
    DOM_Event* const event = DOM_DocumentEvent_createEvent(tree.document(), name.c_str());
    EXPECT_EQ(event != nullptr, name.ends_with("Events") && name[0] != 'M') << name;
    EXPECT_EQ(TakeError(), event != nullptr ? 0 : DOM_NOT_SUPPORTED_ERR);
    EXPECT_EQ(DOM_EventTarget_dispatchEvent(tree.root(), event), 1);
    EXPECT_EQ(TakeError(), event != nullptr ? DOM_EVENT_TYPE_ERR : kNullParameter)
        << "it has no type yet";
    DOM_DocumentEvent_destroyEvent(tree.document(), event);
  }
}

TEST(Event, TextEventsKeepTheirValues) {
  DOM_Event event{};
  DOM_TextEvent_initTextEvent(&event, "x", 1, 0, &event, -2, "out", 0xFFFFFFF1U, 0xFFFFFFF2U,
                              0xFFFFFFF3U, 7);
  EXPECT_EQ(event.keyVal, 0xFFFFFFF1U);
  EXPECT_EQ(event.virtKeyVal, 0xFFFFFFF2U);
  EXPECT_EQ(event.visibleOutputGenerated, 0xFFFFFFF3U);
  EXPECT_EQ(event.numPad, 1U) << "a flag";
}

static int Dispatch(DOM_Node* target, int bubbles = 1, int cancelable = 1) {
  DOM_Event event{};
  DOM_Event_initEvent(&event, "x", bubbles, cancelable);
  return DOM_EventTarget_dispatchEvent(target, &event);
}

// Each node on the path hears the event, capturing and not, and the root captures it twice.
TEST(Dispatch, GoesDownToTheTargetAndUpAgain) {
  const struct {
    const char* name;
    const char* actor = "";  // the listener that acts
    void (*act)(DOM_Event*) = nullptr;
    int bubbles = 1;
    int cancelable = 1;
    std::vector<std::string> heard = {
        "root captures", "root captures again", "parent captures", "target", "parent", "root"};
    int result = 1;
  } rows[] = {
      {.name = "it bubbles"},
      {.name = "it does not bubble",
       .bubbles = 0,
       .heard = {"root captures", "root captures again", "parent captures", "target"}},
      {.name = "stopped at the root",
       .actor = "root captures",
       .act = DOM_Event_stopPropagation,
       .heard = {"root captures", "root captures again"}},
      {.name = "stopped above the target",
       .actor = "parent captures",
       .act = DOM_Event_stopPropagation,
       .heard = {"root captures", "root captures again", "parent captures"}},
      {.name = "stopped at the target",
       .actor = "target",
       .act = DOM_Event_stopPropagation,
       .heard = {"root captures", "root captures again", "parent captures", "target"}},
      {.name = "stopped on the way up",
       .actor = "parent",
       .act = DOM_Event_stopPropagation,
       .heard = {"root captures", "root captures again", "parent captures", "target", "parent"}},
      {.name = "prevented", .actor = "target", .act = DOM_Event_preventDefault, .result = 0},
      {.name = "not cancelable",
       .actor = "target",
       .act = DOM_Event_preventDefault,
       .cancelable = 0},
      {.name = "dispatched elsewhere by a handler",
       .actor = "root captures",
       .act =
           [](DOM_Event* event) {
             DOM_EventTarget_dispatchEvent(event->target->ownerDocument, event);
           }},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const Tree tree;
    DOM_Node* const parent = tree.Add(tree.root(), "<p");
    DOM_Node* const target = tree.Add(parent, "<t");
    const struct {
      const char* name;
      DOM_Node* node;
      uint16_t phase;
    } ears[] = {{"root captures", tree.root(), DOM_CAPTURING_PHASE},
                {"root captures again", tree.root(), DOM_CAPTURING_PHASE},
                {"root", tree.root(), DOM_BUBBLING_PHASE},
                {"parent captures", parent, DOM_CAPTURING_PHASE},
                {"parent", parent, DOM_BUBBLING_PHASE},
                {"target captures", target, DOM_CAPTURING_PHASE},
                {"target", target, DOM_AT_TARGET}};
    std::vector<std::string> heard;
    std::vector<Listener> listeners(std::size(ears));
    for (size_t i = 0; i < std::size(ears); ++i) {
      listeners[i].act = [&, ear = ears[i]](DOM_Event* event) {
        heard.emplace_back(ear.name);
        EXPECT_EQ(event->target, target);
        EXPECT_EQ(event->currentTarget, ear.node);
        EXPECT_EQ(event->eventPhase, ear.phase);
        if (ear.name == std::string(row.actor)) {
          row.act(event);
        }
      };
      listeners[i].Hear(ears[i].node, "x", ears[i].phase == DOM_CAPTURING_PHASE ? 1 : 0);
    }
    EXPECT_EQ(Dispatch(target, row.bubbles, row.cancelable), row.result);
    EXPECT_EQ(heard, row.heard);
  }
}

TEST(Listeners, AreToldApartAndSlotsReused) {
  const Tree tree;
  Listener one;
  Listener two;
  one.Hear(tree.root(), "x");
  one.Hear(tree.root(), "x");
  one.Hear(tree.root(), "x", 1);
  two.Hear(tree.root(), "x", 7);
  one.Leave(tree.root(), "X");
  one.Leave(tree.root(), "x", 7);
  two.Hear(tree.root(), "z");
  EXPECT_EQ(DOM_EventTarget_listenerCount(tree.root()), 3U);
  EXPECT_EQ(Text(DOM_EventTarget_listener(tree.root(), 1)->type), "z");
  EXPECT_EQ(DOM_EventTarget_listener(tree.root(), 3), nullptr);
  DOM_EventTarget_removeEventListener(tree.root(), "z", &two, nullptr, 0);
  EXPECT_EQ(TakeError(), kNullParameter);
}

// So many that a look-up for one passes others that differ from it in one thing alone.
TEST(Listeners, AreToldApartAmongMany) {
  const Tree tree;
  char things[900];
  const auto with_each = [&](auto operation, bool is_there) {
    for (uint32_t i = 0; i < std::size(things); ++i) {
      for (const int use_capture : {1, 0}) {
        operation(tree.root(), i % 3 == 0 ? std::to_string(i).c_str() : "x",
                  i % 3 == 1 ? &things[i] : nullptr,
                  i % 3 == 2 ? reinterpret_cast<DOM_EventHandler>(&things[i]) : Listener::Handle,
                  use_capture);
      }
      EXPECT_EQ(DOM_EventTarget_listener(tree.root(), 2 * i + 1) != nullptr, is_there);
    }
  };
  with_each(DOM_EventTarget_addEventListener, true);
  with_each(DOM_EventTarget_removeEventListener, false);
}

TEST(Listeners, AreFoundWhileOthersAreFreed) {
  const Tree tree;
  Listener listener;
  std::vector<DOM_Node*> nodes;
  for (int i = 0; i < 300; ++i) {
    nodes.push_back(tree.Add(tree.root(), "<e"));
    listener.Hear(nodes.back(), std::to_string(i).c_str());
  }
  for (size_t i = 0; i < nodes.size(); i += 3) {
    OwnedNode(DOM_Node_removeChild(tree.root(), nodes[i])).reset();
  }
  for (size_t i = 0; i < nodes.size(); ++i) {
    SCOPED_TRACE(i);
    if (i % 3 != 0) {
      EXPECT_EQ(Text(DOM_EventTarget_listener(nodes[i], 0)->type), std::to_string(i));
    }
  }
}

TEST(Listeners, MayComeAndGoWhileTheyRun) {
  const struct {
    const char* name;
    std::vector<size_t> gone = {};
    std::vector<const char*> come = {};  // the types that the third hears then
    std::string first;                   // who is called by two dispatches to the first two, of
    std::string second;                  // which the first acts at once
  } rows[] = {
      {.name = "the first goes", .gone = {0}, .first = "12", .second = "2"},
      {.name = "the second goes", .gone = {1}, .first = "1", .second = "1"},
      {.name = "both go", .gone = {0, 1}, .first = "1", .second = ""},
      {.name = "the third comes into its old slot",
       .come = {"x", "1", "2", "3", "4", "5", "6", "7"},
       .first = "12",
       .second = "132"},
      {.name = "the third comes into the slot of the first",
       .gone = {0},
       .come = {"1", "x"},
       .first = "12",
       .second = "32"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const Tree tree;
    std::string log;
    Listener listeners[3];
    listeners[0].act = [&](DOM_Event*) {
      for (const size_t gone : row.gone) {
        listeners[gone].Leave(tree.root(), "x");
      }
      for (const char* type : row.come) {
        listeners[2].Hear(tree.root(), type);
      }
      log += '1';
    };
    listeners[1].act = [&](DOM_Event*) { log += '2'; };
    listeners[2].act = [&](DOM_Event*) { log += '3'; };
    for (const size_t i : {0U, 2U, 1U}) {
      listeners[i].Hear(tree.root(), "x");
    }
    listeners[2].Leave(tree.root(), "x");
    Dispatch(tree.root());
    EXPECT_EQ(std::exchange(log, ""), row.first);
    Dispatch(tree.root());
    EXPECT_EQ(log, row.second);
  }
}

TEST(MutationEvents, HandlersMayChangeTheSubtreeThatIsTold) {
  const struct {
    const char* name;
    std::string type, inner_type;
    bool removes = false;  // "b", in the handler of the inner type that is called for "a"
    std::vector<std::string> told;
  } rows[] = {
      {.name = "insertion",
       .type = "DOMNodeInserted",
       .inner_type = "DOMNodeInsertedIntoDocument",
       .told = {"s in phase 1", "s in phase 3", "s", "a", "b", "b", "c"}},
      {.name = "insertion, less one",
       .type = "DOMNodeInserted",
       .inner_type = "DOMNodeInsertedIntoDocument",
       .removes = true,
       .told = {"s in phase 1", "s in phase 3", "s", "a", "c"}},
      {.name = "removal",
       .type = "DOMNodeRemoved",
       .inner_type = "DOMNodeRemovedFromDocument",
       .told = {"s in phase 1", "s in phase 3", "a", "b", "b", "c", "s"}},
      {.name = "removal, with one within",
       .type = "DOMNodeRemoved",
       .inner_type = "DOMNodeRemovedFromDocument",
       .removes = true,
       .told = {"s in phase 1", "s in phase 3", "a", "b in phase 1", "b in phase 3", "b", "b", "c",
                "s"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const Tree tree;
    DOM_Node* const subtree = DOM_Document_createElement(tree.document(), "s");
    DOM_Node* const a = tree.Add(subtree, "<a");
    DOM_Node* const b = tree.Add(subtree, "<b");
    tree.Add(subtree, "<c");
    OwnedNode taken;
    std::vector<std::string> told;
    Listener outer{"", nullptr, [&](DOM_Event* event) {
                     told.push_back(event->target->nodeName + std::string(" in phase ") +
                                    std::to_string(event->eventPhase));
                     EXPECT_EQ(event->relatedNode, event->target->parentNode);
                   }};
    Listener inner{"", nullptr, [&](DOM_Event* event) {
                     told.emplace_back(event->target->nodeName);
                     if (event->target == a && row.removes) {
                       taken.reset(DOM_Node_removeChild(subtree, b));
                     }
                   }};
    outer.Hear(tree.document(), row.type.c_str(), 0);
    outer.Hear(tree.document(), row.type.c_str(), 1);
    inner.Hear(tree.document(), row.inner_type.c_str(), 1);
    inner.Hear(b, row.inner_type.c_str(), 0);
    const OwnedNode removed(
        DOM_Node_removeChild(tree.root(), DOM_Node_appendChild(tree.root(), subtree)));
    EXPECT_EQ(told, row.told);
  }
}

TEST(MutationEvents, ReachTheListenersAboveAnElementOfAnotherDocument) {
  const Tree first;
  const Tree second;
  const OwnedNode old_root(DOM_Node_removeChild(first.document(), first.root()));
  DOM_Node_appendChild(first.document(), DOM_Node_removeChild(second.document(), second.root()));
  std::string log;
  Listener listener{"", &log};
  listener.Hear(first.document(), "DOMNodeInserted");
  listener.Hear(first.document(), "DOMSubtreeModified");
  first.common_parent() = nullptr;
  second.common_parent() = nullptr;
  second.Add(second.root(), "x");
  EXPECT_EQ(log, ":DOMNodeInserted@#text/3 ");
  EXPECT_EQ(first.common_parent(), nullptr);
  EXPECT_EQ(second.common_parent(), second.root());
  DOM_MutationEvent_processSubtreeModified(second.document());
  EXPECT_EQ(log, ":DOMNodeInserted@#text/3 :DOMSubtreeModified@r/3 ");
}

TEST(CommonParent, IsFoundByTheFlags) {
  const Tree tree;
  DOM_Node* const a = tree.Add(tree.root(), "<a");
  DOM_Node* const c = tree.Add(a, "<c");
  DOM_Node* const b = tree.Add(tree.root(), "<b");
  const struct {
    DOM_Node* changed;
    DOM_Node* common_parent;
  } rows[] = {
      {.changed = nullptr, .common_parent = nullptr},
      {.changed = tree.document(), .common_parent = nullptr},
      {.changed = c, .common_parent = c},
      {.changed = c, .common_parent = c},
      {.changed = b, .common_parent = nullptr},
      {.changed = a, .common_parent = a},
      {.changed = c, .common_parent = a},
      {.changed = b, .common_parent = b},
      {.changed = c, .common_parent = c},
  };
  tree.common_parent() = nullptr;
  for (const auto& row : rows) {
    updateCommonParent(row.changed);
    EXPECT_EQ(tree.common_parent(), row.common_parent);
  }
  std::string log;
  Listener listener{"", &log, [&](DOM_Event*) { EXPECT_EQ(tree.common_parent(), nullptr); }};
  listener.Hear(tree.root(), "DOMSubtreeModified");
  DOM_MutationEvent_processSubtreeModified(tree.document());
  DOM_MutationEvent_processSubtreeModified(tree.document());
  EXPECT_EQ(log, ":DOMSubtreeModified@c/3 ");
}

TEST(CommonParent, MayBeAnotherDocument) {
  const Tree tree;
  auto other = std::make_unique<Tree>();
  OwnedNode(DOM_Node_removeChild(other->document(), other->root())).reset();
  DOM_Node* const root = DOM_Node_removeChild(tree.document(), tree.root());
  DOM_Node_appendChild(other->document(), root);
  tree.common_parent() = nullptr;
  for (int i = 0; i < 10; ++i) {  // the first flags the other document, the others find it flagged
    DOM_MutationEvent_processSubtreeModified(tree.document());
    updateCommonParent(root);
    EXPECT_EQ(tree.common_parent(), root);
    updateCommonParent(
        DOM_Node_appendChild(other->document(), DOM_Document_createComment(tree.document(), "")));
    EXPECT_EQ(tree.common_parent(), i == 0 ? nullptr : other->document());
  }
  other.reset();
  EXPECT_EQ(tree.common_parent(), nullptr);
}

TEST(CommonParent, IsNeitherReachedFromASubtreeThatLeftNorFreedUnseen) {
  const Tree tree;
  DOM_Node* const a = tree.Add(tree.root(), "<a");
  DOM_Node* const b = tree.Add(a, "<b");
  tree.Add(b, "x");
  DOM_Node_removeChild(tree.root(), a);
  EXPECT_EQ(tree.common_parent(), tree.root());
  tree.Add(b, "y");
  EXPECT_EQ(tree.common_parent(), b);
  DOM_Document_destroyNode(nullptr, a);
  EXPECT_EQ(tree.common_parent(), nullptr);
  {
    const OwnedNode once_named(DOM_Document_createElement(tree.document(), "c"));
    tree.Add(once_named.get(), "z");
    EXPECT_EQ(tree.common_parent(), once_named.get());
    tree.Add(tree.root(), "flags the root");
    tree.Add(tree.root(), "names it");
  }
  EXPECT_EQ(tree.common_parent(), tree.root());
  tree.common_parent() = tree.Add(tree.root(), "a text has no mark");
  DOM_Document_destroyNode(tree.document(), DOM_Node_removeChild(tree.document(), tree.root()));
  EXPECT_EQ(tree.common_parent(), nullptr);
  EXPECT_EQ(DOM_Document_getDocumentElement(tree.document()), nullptr);
  DOM_Document_destroyNode(tree.document(), nullptr);
}

TEST(CommonParent, MayBeADocumentThatBelongsToAnother) {
  const Tree tree;
  tree.common_parent() = nullptr;
  DOM_Document* const inner = Document_createNode(tree.document(), DOM_DOCUMENT_NODE);
  tree.Add(inner, "!");
  EXPECT_EQ(tree.common_parent(), inner);
  DOM_Document_destroyNode(nullptr, inner);
  EXPECT_EQ(tree.common_parent(), nullptr);
}

TEST(CommonParent, IsFoundHoweverOftenItMoved) {
  const Tree tree;
  DOM_Node* const a = tree.Add(tree.root(), "<a");
  DOM_Node* const b = tree.Add(tree.root(), "<b");
  DOM_Node* const c = tree.Add(a, "<c");
  tree.common_parent() = nullptr;
  updateCommonParent(a);
  updateCommonParent(c);  // marks the way from it
  EXPECT_EQ(tree.common_parent(), a);
  static_cast<dom::DocumentNode*>(tree.document())->current_mark += (uint64_t{1} << 30) - 1;
  tree.common_parent() = nullptr;
  updateCommonParent(b);
  EXPECT_EQ(tree.common_parent(), b);
  updateCommonParent(c);
  EXPECT_EQ(tree.common_parent(), c) << "the old mark leads to another node";
}

}  // namespace
}  // namespace qvx::test

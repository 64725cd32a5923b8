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
  DOM_TextEvent_initTextEvent(&event, "x", 1, 0, &event, -2, "out", 1, 1, 1, 0);
  EXPECT_EQ(event.numPad, 0U);
  for (const uint32_t modifier : {1U, 8U, 0U, 9U, 33U}) {
    const bool is_one = modifier == 1 || modifier == 8;
    DOM_TextEvent_initModifier(&event, modifier, 2);
    EXPECT_EQ(DOM_TextEvent_checkModifier(&event, modifier), is_one ? 1 : 0) << modifier;
  }
  EXPECT_EQ(event.modifiers, 0x81U);
  DOM_TextEvent_initModifier(&event, 1, 0);
  EXPECT_EQ(event.modifiers, 0x80U);
  DOM_UIEvent_initUIEvent(&event, "", 0, 1, nullptr, 3);
  EXPECT_EQ(event.detail, -2) << "a type that is not to be used";
  DOM_UIEvent_initUIEvent(&event, "y", 0, 1, nullptr, 3);
  EXPECT_EQ(Text(event.type) + std::to_string(event.detail), "y3");
  EXPECT_EQ(event.view, nullptr);
}

int Dispatch(DOM_Node* target, int bubbles = 1, int cancelable = 1) {
  DOM_Event event{};
  DOM_Event_initEvent(&event, "x", bubbles, cancelable);
  event.defaultPrevented = event.propagationStopped = 1;  // in a dispatch before
  const int result = DOM_EventTarget_dispatchEvent(target, &event);
  EXPECT_EQ(event.eventPhase, DOM_BUBBLING_PHASE);
  EXPECT_NE(event.currentTarget, nullptr) << "also when nobody was called";
  return result;
}

// The root captures the event twice and the element "p" once; then the target "t", "p" and the root
// hear it. The last listener, a capturing one at the target, does not. The `actor`th acts.
TEST(Dispatch, GoesDownToTheTargetAndUpAgain) {
  const auto elsewhere = [](DOM_Event* event) {
    DOM_EventTarget_dispatchEvent(event->target->ownerDocument, event);
  };
  const std::string all = "1:x@t/1 2:x@t/1 3:x@t/1 4:x@t/2 5:x@t/3 6:x@t/3 ";
  const struct {
    const char* name;
    size_t actor = 0;
    void (*act)(DOM_Event*) = nullptr;
    int bubbles = 1, cancelable = 1;
    size_t heard = 6;
    int result = 1;
  } rows[] = {
      {.name = "it bubbles"},
      {.name = "it does not bubble", .bubbles = 0, .heard = 4},
      {.name = "root stops it", .actor = 1, .act = DOM_Event_stopPropagation, .heard = 2},
      {.name = "p stops it", .actor = 3, .act = DOM_Event_stopPropagation, .heard = 3},
      {.name = "t stops it", .actor = 4, .act = DOM_Event_stopPropagation, .heard = 4},
      {.name = "p stops it later", .actor = 5, .act = DOM_Event_stopPropagation, .heard = 5},
      {.name = "t prevents", .actor = 4, .act = DOM_Event_preventDefault, .result = 0},
      {.name = "in vain", .actor = 4, .act = DOM_Event_preventDefault, .cancelable = 0},
      {.name = "it is dispatched elsewhere, too", .actor = 1, .act = elsewhere},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const Tree tree;
    DOM_Node* const p = tree.Add(tree.root(), "<p");
    DOM_Node* const target = tree.Add(p, "<t");
    DOM_Node* const nodes[] = {tree.root(), tree.root(), p, target, p, tree.root(), target};
    std::string log;
    Listener listeners[std::size(nodes)];
    for (size_t i = 0; i < std::size(nodes); ++i) {
      const auto act = [&row, i, node = nodes[i]](DOM_Event* event) {
        EXPECT_EQ(event->currentTarget, node);
        if (i + 1 == row.actor) {
          row.act(event);
        }
      };
      listeners[i] = {act, &log, std::to_string(i + 1)};
      listeners[i].Hear(nodes[i], "x", i < 3 || i == 6 ? 1 : 0);
    }
    EXPECT_EQ(Dispatch(target, row.bubbles, row.cancelable), row.result);
    EXPECT_EQ(log, all.substr(0, all.size() / 6 * row.heard));
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
  DOM_EventTarget_removeEventListener(
      tree.root(), "x", &one, [](DOM_EventListener*, DOM_Event*) {}, 0);
  EXPECT_EQ(DOM_EventTarget_listener(tree.root(), 0)->listener, &one);
  one.Leave(tree.root(), "x", 7);
  two.Hear(tree.root(), "z");
  EXPECT_EQ(DOM_EventTarget_listenerCount(tree.root()), 3U);
  EXPECT_EQ(Text(DOM_EventTarget_listener(tree.root(), 1)->type), "z");
  EXPECT_EQ(DOM_EventTarget_listener(tree.root(), 3), nullptr);
  DOM_EventTarget_removeEventListener(tree.root(), "z", &two, nullptr, 0);
  EXPECT_EQ(TakeError(), kNullParameter);
}

// The first acts when it is called.
TEST(Listeners, MayComeAndGoWhileTheyRun) {
  const struct {
    const char* name;
    std::vector<size_t> gone = {};       // listeners
    std::vector<const char*> come = {};  // the types that the third hears then
    std::string heard;                   // who is called by a dispatch, and by a second one
  } rows[] = {
      {.name = "the first goes", .gone = {0}, .heard = "12,2,"},
      {.name = "the second goes", .gone = {1}, .heard = "1,1,"},
      {.name = "both go", .gone = {0, 1}, .heard = "1,,"},
      {.name = "the third comes into its old slot", .come = {"x", "1", "2"}, .heard = "12,132,"},
      {.name = "and into that of the first", .gone = {0}, .come = {"1", "x"}, .heard = "12,32,"},
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
    for (int dispatch = 0; dispatch < 2; ++dispatch) {
      Dispatch(tree.root());
      log += ',';
    }
    EXPECT_EQ(log, row.heard);
  }
}

TEST(MutationEvents, ReplacementIsARemovalAndAnInsertion) {
  const Tree tree;
  DOM_Node* const old = tree.Add(tree.root(), "<old");
  std::string log;
  Listener listener{{}, &log};
  listener.Hear(tree.root(), "DOMNodeRemoved");
  listener.Hear(tree.root(), "DOMNodeInserted");
  DOM_Node* const fresh = DOM_Document_createElement(tree.document(), "new");
  const OwnedNode replaced(DOM_Node_replaceChild(tree.root(), fresh, old));
  EXPECT_EQ(replaced.get(), old);
  EXPECT_EQ(log, ":DOMNodeRemoved@old/3 :DOMNodeInserted@new/3 ");
}

// The subtree <s><a/><b/><c/></s> comes and goes. The document hears it twice, and "b" for itself.
TEST(MutationEvents, HandlersMayChangeTheSubtreeThatIsTold) {
  const struct {
    bool when_it_comes;
    bool loses_b = false;  // in the handler of the inner type that is called for "a"
    const char* told;
  } rows[] = {
      {.when_it_comes = true, .told = "s1 s3 s a b b c "},
      {.when_it_comes = true, .loses_b = true, .told = "s1 s3 s a c "},
      {.when_it_comes = false, .told = "s1 s3 a b b c s "},
      {.when_it_comes = false, .loses_b = true, .told = "s1 s3 a b1 b3 b b c s "},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.told);
    const char* const type = row.when_it_comes ? "DOMNodeInserted" : "DOMNodeRemoved";
    const char* const inner_type =
        row.when_it_comes ? "DOMNodeInsertedIntoDocument" : "DOMNodeRemovedFromDocument";
    const Tree tree;
    DOM_Node* const subtree = DOM_Document_createElement(tree.document(), "s");
    DOM_Node* const a = tree.Add(subtree, "<a");
    DOM_Node* const b = tree.Add(subtree, "<b");
    tree.Add(subtree, "<c");
    OwnedNode taken;
    std::string told;
    Listener outer{[&](DOM_Event* event) {
      told += event->target->nodeName + std::to_string(event->eventPhase) + " ";
      EXPECT_EQ(event->relatedNode, event->target->parentNode);
    }};
    Listener inner{[&](DOM_Event* event) {
      told.append(event->target->nodeName).append(" ");
      if (event->target == a && row.loses_b) {
        taken.reset(DOM_Node_removeChild(subtree, b));
      }
    }};
    outer.Hear(tree.document(), type, 0);
    outer.Hear(tree.document(), type, 1);
    inner.Hear(tree.document(), inner_type, 1);
    inner.Hear(b, inner_type, 0);
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
  Listener listener{{}, &log};
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
  const auto after_change_of = [&](DOM_Node* node) {
    updateCommonParent(node);
    return tree.common_parent();
  };
  tree.common_parent() = nullptr;
  EXPECT_EQ(after_change_of(nullptr), nullptr);
  EXPECT_EQ(after_change_of(tree.document()), nullptr);
  EXPECT_EQ(after_change_of(c), c);
  EXPECT_EQ(after_change_of(c), c);
  EXPECT_EQ(after_change_of(b), nullptr);
  EXPECT_EQ(after_change_of(a), a);
  EXPECT_EQ(after_change_of(c), a) << "the way from it is marked";
  static_cast<dom::DocumentNode*>(tree.document())->current_mark += (uint64_t{1} << 30) - 1;
  EXPECT_EQ(after_change_of(b), b);
  EXPECT_EQ(after_change_of(c), c) << "the old mark leads to another node";
  std::string log;
  Listener listener{[&](DOM_Event*) { EXPECT_EQ(tree.common_parent(), nullptr); }, &log};
  listener.Hear(tree.root(), "DOMSubtreeModified");
  DOM_MutationEvent_processSubtreeModified(tree.document());
  DOM_MutationEvent_processSubtreeModified(tree.document());
  EXPECT_EQ(log, ":DOMSubtreeModified@c/3 ");
  EXPECT_EQ(after_change_of(c), c);
  EXPECT_EQ(after_change_of(b), nullptr) << "no flag is left, nor one of the document";
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
  DOM_Document* const inner = Document_createNode(tree.document(), DOM_DOCUMENT_NODE);
  tree.Add(inner, "!");
  EXPECT_EQ(tree.common_parent(), inner) << "a document that belongs to another";
  DOM_Document_destroyNode(nullptr, inner);
  EXPECT_EQ(tree.common_parent(), nullptr);
}

}  // namespace
}  // namespace qvx::test

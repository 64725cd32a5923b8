// Handlers may change the tree that an operation is changing, and destroy what it works on. A use
// of what is gone shows under AddressSanitizer only; here it is seen what is left.
#include "tests/dom/world.h"

namespace qvx::test {
namespace {

using W = World;

constexpr Step kMerge = {.act = [](W& w) { DOM_Element_normalize(w["r"]); }};
constexpr Step kPutAttribute = {.act = [](W& w) { DOM_Element_setAttributeNode(w["a"], w["k"]); }};
constexpr Step kDestroyAttribute = {.act = [](W& w) { DOM_Element_removeAttribute(w["a"], "k"); }};

constexpr Step kDestroyNew = {.act = [](W& w) { DOM_Document_destroyNode(w["D"], w["n"]); }};
constexpr char kWithoutComment[] = "<!DOCTYPE t><r><a>x<b/></a>z</r>";

TEST(Mutation, HandlersMayChangeWhatAnOperationChanges) {
  const Change changes[] = {
      {.name = "removes the child first",
       .handler = {"DOMNodeRemoved", {Remove("r", "c")}},
       .step = Remove("r", "c"),
       .error = DOM_NOT_FOUND_ERR,
       .xml = kWithoutComment},
      {.name = "moves the child elsewhere",
       .handler = {"DOMNodeRemoved", {Append("m", "c")}},
       .step = Append("a", "c"),
       .error = DOM_HIERARCHY_REQUEST_ERR,
       .xml = kWithoutComment},
      {.name = "detaches the child",
       .handler = {"DOMNodeRemoved", {Remove("r", "c")}},
       .step = Append("a", "c"),
       .xml = "<!DOCTYPE t><r><a>x<b/><!--c--></a>z</r>"},
      {.name = "puts the new parent below the child",
       .handler = {"DOMNodeRemoved", {Append("b", "m")}},
       .step = Append("m", "a"),
       .error = DOM_HIERARCHY_REQUEST_ERR,
       .xml = "<!DOCTYPE t><r><!--c-->z</r>"},
      {.name = "removes the reference",
       .handler = {"DOMNodeRemoved", {Remove("r", "z")}},
       .step = Insert("r", "a", "z"),
       .error = DOM_NOT_FOUND_ERR,
       .xml = "<!DOCTYPE t><r><!--c--></r>"},
      {.name = "removes the child that is replaced",
       .handler = {"DOMNodeRemoved", {Remove("r", "z")}},
       .step = Replace("r", "z", "n"),
       .gives_nothing = true,
       .xml = "<!DOCTYPE t><r><a>x<b/></a><!--c--></r>"},
      {.name = "removes the reference of a fragment",
       .handler = {"DOMNodeInserted", {Remove("r", "c")}},
       .step = Insert("r", "F", "c"),
       .error = DOM_HIERARCHY_REQUEST_ERR,
       .xml = "<!DOCTYPE t><r><a>x<b/></a>1|z</r>",
       .destroyed = "g"},
      {.name = "puts the replacement elsewhere",
       .handler = {"DOMNodeRemoved", {Append("a", "n")}},
       .step = Replace("r", "z", "n"),
       .error = DOM_HIERARCHY_REQUEST_ERR,
       .xml = "<!DOCTYPE t><r><a>x<b/>n</a><!--c-->z</r>"},
      {.name = "feeds the fragment",
       .handler = {"DOMNodeRemoved", {Append("F", "h")}, "F"},
       .step = Append("a", "F"),
       .xml = "<!DOCTYPE t><r><a>x<b/>1<g/>2</a><!--c-->z</r>"},
      {.name = "merges the text that is overwritten",
       .first = {Append("r", "n")},
       .handler = {"DOMCharacterDataModified", {kMerge}},
       .step = {.act = [](W& w) { DOM_CharacterData_replaceData(w["z"], 0, 1, "x"); }},
       .xml = "<!DOCTYPE t><r><a>x<b/></a><!--c-->n</r>",
       .destroyed = "z"},
      {.name = "merges the text that is split",
       .first = {Append("r", "n")},
       .handler = {"DOMCharacterDataModified", {kMerge}},
       .step = {.act = [](W& w) { EXPECT_EQ(DOM_Text_splitText(w["z"], 1), nullptr); }},
       .error = DOM_WRONG_DOCUMENT_ERR,
       .xml = "<!DOCTYPE t><r><a>x<b/></a><!--c-->zn</r>",
       .destroyed = "z"},
      {.name = "merges the new half",
       .first = {Append("r", "n")},
       .handler = {"DOMNodeInserted", {kMerge}},
       .step = {.act = [](W& w) { EXPECT_EQ(DOM_Text_splitText(w["z"], 0), nullptr); }},
       .error = DOM_NOT_FOUND_ERR,
       .xml = "<!DOCTYPE t><r><a>x<b/></a><!--c-->zn</r>",
       .destroyed = "z"},
      {.name = "removes the text that is split",
       .handler = {"DOMCharacterDataModified", {Remove("r", "z")}},
       .step = {.act = [](W& w) { EXPECT_EQ(DOM_Text_splitText(w["z"], 0), nullptr); }},
       .error = kNullParameter,
       .xml = "<!DOCTYPE t><r><a>x<b/></a><!--c--></r>"},
      {.name = "takes the text out that grows, and the notes",
       .handler = {"DOMCharacterDataModified",
                   {Remove("r", "z"),
                    {.act = [](W& w) { DOM_MutationEvent_processSubtreeModified(w["D"]); }}}},
       .step = {.act = [](W& w) { DOM_CharacterData_appendData(w["z"], "y"); }},
       .xml = "<!DOCTYPE t><r><a>x<b/></a><!--c--></r>",
       .noted = "r"},
      {.name = "of a merger merges",
       .first = {Append("r", "n")},
       .handler = {"DOMCharacterDataModified", {kMerge}},
       .step = kMerge,
       .xml = "<!DOCTYPE t><r><a>x<b/></a><!--c-->zzn</r>",
       .destroyed = "z"},
      {.name = "puts the replaced text elsewhere and destroys it",
       .handler = {"DOMNodeInserted",
                   {Append("a", "z"),
                    {.act = [](W& w) { DOM_Document_destroyNode(w["D"], w["z"]); }}}},
       .step = Replace("r", "z", "n"),
       .xml = "<!DOCTYPE t><r><a>x<b/></a><!--c-->n</r>"},
      {.name = "moves the child to another document and destroys its place",
       .handler = {"DOMNodeRemoved",
                   {Remove("O", "R"), Append("E", "m"), Append("E", "a"), Append("O", "E")}},
       .step = Append("r", "a"),
       .error = DOM_HIERARCHY_REQUEST_ERR,
       .xml = "<!DOCTYPE t><r><!--c-->z</r>",
       .destroyed = "axb"},
      {.name = "puts an attribute that is taken back and destroys it",
       .first = {kPutAttribute},
       .handler = {"DOMAttrModified", {kPutAttribute, kDestroyAttribute}},
       .step = {.act =
                    [](W& w) {
                      EXPECT_EQ(DOM_Element_removeAttributeNode(w["a"], w["k"]), nullptr);
                    }},
       .destroyed = "k"},
      {.name = "puts an attribute that is removed back and destroys it",
       .first = {kPutAttribute},
       .handler = {"DOMAttrModified", {kPutAttribute, kDestroyAttribute}},
       .step = kDestroyAttribute,
       .destroyed = "k"},
      {.name = "destroys the attribute that is put",
       .first = {kPutAttribute},
       .handler = {"DOMAttrModified", {kDestroyAttribute}},
       .step = kPutAttribute,
       .destroyed = "k"},
      {.name = "destroys the new child",
       .handler = {"DOMNodeInserted", {kDestroyNew}},
       .step = Append("r", "n"),
       .error = DOM_NOT_FOUND_ERR},
      {.name = "destroys the new child and puts it elsewhere",
       .handler = {"DOMNodeInserted", {kDestroyNew, Append("a", "n")}},
       .step = Append("r", "n"),
       .xml = "<!DOCTYPE t><r><a>x<b/>n</a><!--c-->z</r>"},
  };
  for (const Change& change : changes) {
    SCOPED_TRACE(std::string("a handler ") + change.name);
    change.Check();
  }
}

}  // namespace
}  // namespace qvx::test

// Handlers may change the tree that an operation is changing, and destroy what it works on. A use
// of what is gone shows under AddressSanitizer only; here it is seen what is left.
#include "tests/dom/world.h"

namespace qvx::test {
namespace {

using W = World;

/// The result of an operation that has none.
DOM_Node* NoNode() {
  return nullptr;
}

TEST(Mutation, HandlersMayChangeWhatAnOperationChanges) {
  const Change changes[] = {
      {.name = "a handler removes the child first",
       .at = "r",
       .event = "DOMNodeRemoved",
       .handler = [](W& w) { w.Remove("r", "c"); },
       .operation = [](W& w) { return w.Remove("r", "c"); },
       .error = DOM_NOT_FOUND_ERR,
       .document = "<!DOCTYPE t><r><a>x<b/></a>z</r>",
       .taken = "c"},
      {.name = "a handler moves the child elsewhere",
       .at = "r",
       .event = "DOMNodeRemoved",
       .handler = [](W& w) { w.Append("m", "c"); },
       .operation = [](W& w) { return w.Append("a", "c"); },
       .error = DOM_HIERARCHY_REQUEST_ERR,
       .document = "<!DOCTYPE t><r><a>x<b/></a>z</r>"},
      {.name = "a handler detaches the child",
       .at = "r",
       .event = "DOMNodeRemoved",
       .handler = [](W& w) { w.Remove("r", "c"); },
       .operation = [](W& w) { return w.Append("a", "c"); },
       .result = "c",
       .document = "<!DOCTYPE t><r><a>x<b/><!--c--></a>z</r>"},
      {.name = "a handler puts the new parent below the child",
       .at = "r",
       .event = "DOMNodeRemoved",
       .handler = [](W& w) { w.Append("b", "m"); },
       .operation = [](W& w) { return w.Append("m", "a"); },
       .error = DOM_HIERARCHY_REQUEST_ERR,
       .document = "<!DOCTYPE t><r><!--c-->z</r>",
       .placed = "m",
       .taken = "a"},
      {.name = "a handler gives the document an element",
       .before = [](W& w) { w.Remove("D", "r"); },
       .at = "F",
       .event = "DOMNodeRemoved",
       .handler = [](W& w) { w.Append("D", "m"); },
       .operation = [](W& w) { return w.Append("D", "g"); },
       .error = DOM_HIERARCHY_REQUEST_ERR,
       .document = "<!DOCTYPE t><m>y</m>",
       .placed = "m",
       .taken = "rg"},
      {.name = "a handler removes the reference",
       .at = "r",
       .event = "DOMNodeRemoved",
       .handler = [](W& w) { w.Remove("r", "z"); },
       .operation = [](W& w) { return w.Insert("r", "a", "z"); },
       .error = DOM_NOT_FOUND_ERR,
       .document = "<!DOCTYPE t><r><!--c--></r>",
       .taken = "az"},
      {.name = "a handler removes the child that is replaced",
       .at = "r",
       .event = "DOMNodeRemoved",
       .handler = [](W& w) { w.Remove("r", "z"); },
       .operation = [](W& w) { return w.Replace("r", "n", "z"); },
       .document = "<!DOCTYPE t><r><a>x<b/></a><!--c--></r>",
       .taken = "z"},
      {.name = "a handler removes the reference of a fragment",
       .at = "r",
       .event = "DOMNodeInserted",
       .handler = [](W& w) { w.Remove("r", "c"); },
       .operation = [](W& w) { return w.Insert("r", "F", "c"); },
       .error = DOM_HIERARCHY_REQUEST_ERR,
       .document = "<!DOCTYPE t><r><a>x<b/></a>1|z</r>",
       .taken = "c"},
      {.name = "a handler puts the replacement elsewhere",
       .at = "r",
       .event = "DOMNodeRemoved",
       .handler = [](W& w) { w.Append("a", "n"); },
       .operation = [](W& w) { return w.Replace("r", "n", "z"); },
       .error = DOM_HIERARCHY_REQUEST_ERR,
       .document = "<!DOCTYPE t><r><a>x<b/>n</a><!--c-->z</r>",
       .placed = "n"},
      {.name = "a handler feeds the fragment",
       .at = "F",
       .event = "DOMNodeRemoved",
       .handler = [](W& w) { w.Append("F", "h"); },
       .operation = [](W& w) { return w.Append("a", "F"); },
       .result = "F",
       .document = "<!DOCTYPE t><r><a>x<b/>1<g/>2</a><!--c-->z</r>",
       .placed = "h"},
      {.name = "a handler throws the new child out",
       .at = "r",
       .event = "DOMNodeInserted",
       .handler = [](W& w) { w.Remove("r", "n"); },
       .operation = [](W& w) { return w.Append("r", "n"); },
       .result = "n"},
      {.name = "a handler merges the text that is overwritten",
       .before = [](W& w) { w.Append("r", "n"); },
       .at = "r",
       .event = "DOMCharacterDataModified",
       .handler = [](W& w) { DOM_Element_normalize(w["r"]); },
       .operation =
           [](W& w) {
             DOM_CharacterData_replaceData(w["z"], 0, 1, "x");
             return NoNode();
           },
       .document = "<!DOCTYPE t><r><a>x<b/></a><!--c-->n</r>",
       .placed = "n"},
      {.name = "a handler merges the text that is split",
       .before = [](W& w) { w.Append("r", "n"); },
       .at = "r",
       .event = "DOMCharacterDataModified",
       .handler = [](W& w) { DOM_Element_normalize(w["r"]); },
       .operation = [](W& w) { return DOM_Text_splitText(w["z"], 1); },
       .error = DOM_WRONG_DOCUMENT_ERR,
       .document = "<!DOCTYPE t><r><a>x<b/></a><!--c-->zn</r>",
       .placed = "n"},
      {.name = "a handler merges the new half",
       .before = [](W& w) { w.Append("r", "n"); },
       .at = "r",
       .event = "DOMNodeInserted",
       .handler = [](W& w) { DOM_Element_normalize(w["r"]); },
       .operation = [](W& w) { return DOM_Text_splitText(w["z"], 0); },
       .error = DOM_NOT_FOUND_ERR,
       .document = "<!DOCTYPE t><r><a>x<b/></a><!--c-->zn</r>",
       .placed = "n"},
      {.name = "a handler removes the text that is split",
       .at = "r",
       .event = "DOMCharacterDataModified",
       .handler = [](W& w) { w.Remove("r", "z"); },
       .operation =
           [](W& w) {
             DOM_Text_splitText(w["z"], 0);
             return w.Append("r", "z");
           },
       .result = "z",
       .error = kNullParameter},
      {.name = "a handler of a merger merges",
       .before = [](W& w) { w.Append("r", "n"); },
       .at = "r",
       .event = "DOMCharacterDataModified",
       .handler = [](W& w) { DOM_Element_normalize(w["r"]); },
       .operation =
           [](W& w) {
             DOM_Element_normalize(w["r"]);
             return NoNode();
           },
       .document = "<!DOCTYPE t><r><a>x<b/></a><!--c-->zzn</r>",
       .placed = "n"},
      {.name = "a handler merges the new text",
       .at = "r",
       .event = "DOMNodeInserted",
       .handler = [](W& w) { DOM_Element_normalize(w["r"]); },
       .operation = [](W& w) { return w.Insert("r", "n", "z"); },
       .error = DOM_NOT_FOUND_ERR,
       .document = "<!DOCTYPE t><r><a>x<b/></a><!--c-->nz</r>"},
      {.name = "a handler merges the text that is removed",
       .before = [](W& w) { w.Append("r", "n"); },
       .at = "r",
       .event = "DOMNodeRemoved",
       .handler = [](W& w) { DOM_Element_normalize(w["r"]); },
       .operation = [](W& w) { return w.Remove("r", "z"); },
       .error = DOM_NOT_FOUND_ERR,
       .document = "<!DOCTYPE t><r><a>x<b/></a><!--c-->zn</r>",
       .placed = "n"},
      {.name = "a handler merges the replacement",
       .before =
           [](W& w) {
             w.Remove("F", "1");
             w.Append("r", "n");
           },
       .at = "r",
       .event = "DOMNodeInserted",
       .handler = [](W& w) { DOM_Element_normalize(w["r"]); },
       .operation = [](W& w) { return w.Replace("r", "1", "z"); },
       .result = "z",
       .document = "<!DOCTYPE t><r><a>x<b/></a><!--c-->1n</r>",
       .placed = "n",
       .taken = "z"},
      {.name = "a handler puts the replaced text elsewhere and destroys it",
       .at = "r",
       .event = "DOMNodeInserted",
       .handler =
           [](W& w) {
             w.Append("a", "z");
             w.Destroy("z");
           },
       .operation = [](W& w) { return w.Replace("r", "n", "z"); },
       .result = "z",
       .document = "<!DOCTYPE t><r><a>x<b/></a><!--c-->n</r>",
       .placed = "n",
       .taken = "z"},
      {.name = "a handler moves the child to another document and destroys its place",
       .at = "r",
       .event = "DOMNodeRemoved",
       .handler =
           [](W& w) {
             w.Remove("O", "R");
             w.Append("E", "m");
             w.Append("E", "a");
             w.Append("O", "E");
           },
       .operation = [](W& w) { return w.Append("r", "a"); },
       .error = DOM_HIERARCHY_REQUEST_ERR,
       .document = "<!DOCTYPE t><r><!--c-->z</r>",
       .placed = "m",
       .taken = "R"},
      {.name = "a handler removes the attribute that is set",
       .before = [](W& w) { DOM_Element_setAttribute(w["a"], "k", "1"); },
       .at = "r",
       .event = "DOMAttrModified",
       .handler = [](W& w) { DOM_Element_removeAttribute(w["a"], "k"); },
       .operation =
           [](W& w) {
             DOM_Element_setAttribute(w["a"], "k", "2");
             return NoNode();
           }},
      {.name = "a handler puts an attribute that is taken back and destroys it",
       .before = [](W& w) { DOM_Element_setAttributeNode(w["a"], w["k"]); },
       .at = "r",
       .event = "DOMAttrModified",
       .handler =
           [](W& w) {
             DOM_Element_setAttributeNode(w["a"], w["k"]);
             DOM_Element_removeAttribute(w["a"], "k");
           },
       .operation = [](W& w) { return DOM_Element_removeAttributeNode(w["a"], w["k"]); },
       .placed = "k"},
      {.name = "a handler puts an attribute that is removed back and destroys it",
       .before = [](W& w) { DOM_Element_setAttributeNode(w["a"], w["k"]); },
       .at = "r",
       .event = "DOMAttrModified",
       .handler =
           [](W& w) {
             DOM_Element_setAttributeNode(w["a"], w["k"]);
             DOM_Element_removeAttribute(w["a"], "k");
           },
       .operation =
           [](W& w) {
             DOM_Element_removeAttribute(w["a"], "k");
             return NoNode();
           },
       .placed = "k"},
      {.name = "a handler destroys the attribute that is put",
       .before = [](W& w) { DOM_Element_setAttributeNode(w["a"], w["k"]); },
       .at = "r",
       .event = "DOMAttrModified",
       .handler = [](W& w) { DOM_Element_removeAttribute(w["a"], "k"); },
       .operation = [](W& w) { return DOM_Element_setAttributeNode(w["a"], w["k"]); },
       .placed = "k"},
      {.name = "a handler destroys the new child",
       .at = "r",
       .event = "DOMNodeInserted",
       .handler = [](W& w) { w.Destroy("n"); },
       .operation = [](W& w) { return w.Append("r", "n"); },
       .error = DOM_NOT_FOUND_ERR},
      {.name = "a handler destroys the new child and puts it elsewhere",
       .at = "r",
       .event = "DOMNodeInserted",
       .handler =
           [](W& w) {
             w.Destroy("n");
             w.Append("a", "n");
           },
       .operation = [](W& w) { return w.Append("r", "n"); },
       .result = "n",
       .document = "<!DOCTYPE t><r><a>x<b/>n</a><!--c-->z</r>",
       .placed = "n"},
  };
  for (const Change& change : changes) {
    change.Check();
  }
}

}  // namespace
}  // namespace qvx::test

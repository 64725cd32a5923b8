// Works of the document model that could cost more than their size. Each is done at sizes that
// double twice over, and its exponent is read off.
#include "bench/cases.h"
#include "bench/corpus.h"
#include "dom/handles.h"

namespace qvx::bench {
namespace {

constexpr char kLine[] = "a line of text\n";

void Ignore(DOM_EventListener*, DOM_Event*) {}

void Hear(DOM_Node* node) {
  DOM_EventTarget_addEventListener(node, "DOMNodeInserted", nullptr, Ignore, 0);
}

DOM_Node* AppendElement(DOM_Document* document, DOM_Node* parent) {
  return DOM_Node_appendChild(parent, DOM_Document_createElement(document, "element"));
}

void AppendText(DOM_Document* document, DOM_Node* parent, const char* text) {
  DOM_Node_appendChild(parent, DOM_Document_createTextNode(document, text));
}

/// A document with one element, and the further documents of a case.
struct Scene {
  DocumentHolder document = NewDocument();
  DOM_Element* root = AppendElement(document.get(), document.get());
  std::vector<DocumentHolder> others;
};

struct Growth {
  const char* name;
  void (*prepare)(Scene& scene, size_t size);
  void (*work)(Scene& scene, size_t size);
};

constexpr Growth kGrowths[] = {
    {"attributes", [](Scene&, size_t) {},
     [](Scene& scene, size_t size) {
       for (size_t index = 0; index < size; ++index) {
         DOM_Element_setAttribute(scene.root, SettingName(index).c_str(), "value");
       }
     }},
    {"listeners", [](Scene&, size_t) {},
     [](Scene& scene, size_t size) {
       for (size_t index = 0; index < size; ++index) {
         DOM_EventTarget_addEventListener(scene.root, SettingName(index).c_str(), nullptr, Ignore,
                                          0);
       }
     }},
    {"heard-load",
     [](Scene& scene, size_t size) {
       DocumentFile("lines", size);
       scene.others.push_back(NewDocument());
       Hear(scene.others.back().get());
     },
     [](Scene& scene, size_t size) {
       DOM_DocumentLS_load(scene.others.back().get(), DocumentFile("lines", size).c_str());
     }},
    {"heard-normalise",
     [](Scene& scene, size_t size) {
       for (size_t index = 0; index < size; ++index) {
         AppendText(scene.document.get(), scene.root, kLine);
       }
       Hear(scene.root);
     },
     [](Scene& scene, size_t) { DOM_Element_normalize(scene.root); }},
    {"append-data", [](Scene& scene, size_t) { AppendText(scene.document.get(), scene.root, ""); },
     [](Scene& scene, size_t size) {
       for (size_t index = 0; index < size; ++index) {
         DOM_CharacterData_appendData(scene.root->firstChild, kLine);
       }
     }},
    // A change makes a node of each document the one below which a notification is due.
    {"free-documents",
     [](Scene& scene, size_t size) {
       for (size_t index = 0; index < size; ++index) {
         scene.others.push_back(NewDocument());
         DOM_Document* document = scene.others.back().get();
         AppendElement(document, AppendElement(document, document));
       }
     },
     [](Scene& scene, size_t) { scene.others.clear(); }}};

bool AddGrowths() {
  for (const Growth& growth : kGrowths) {
    const auto prepare = [&growth](size_t size) -> Prepared {
      const auto scene = std::make_shared<Scene>();
      growth.prepare(*scene, size);
      return {[&growth, scene, size] { growth.work(*scene, size); }};
    };
    Addition({"growth", growth.name, "ours", {1000, 2000, 4000}, prepare});
  }
  return true;
}

const bool kAdded = AddGrowths();

}  // namespace
}  // namespace qvx::bench

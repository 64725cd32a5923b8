// Works of the document model that could cost more than their size. Each is done at sizes that
// double twice over, and its exponent is read off.
#include <memory>
#include <string>
#include <vector>

#include "bench/cases.h"
#include "bench/corpus.h"
#include "dom/handles.h"

namespace qvx::bench {
namespace {

void Ignore(DOM_EventListener*, DOM_Event*) {}

void Hear(DOM_Node* node) {
  DOM_EventTarget_addEventListener(node, "DOMNodeInserted", nullptr, Ignore, 0);
}

/// A document with one element, and the documents or nodes that a case makes.
struct Scene {
  DocumentHolder document = NewDocument();
  DOM_Element* root = DOM_Document_createElement(document.get(), "root");
  std::vector<DocumentHolder> others;
  size_t number = 0;

  Scene() { DOM_Node_appendChild(document.get(), root); }
  ~Scene() = default;
  Scene(const Scene&) = delete;
  Scene& operator=(const Scene&) = delete;
  Scene(Scene&&) = delete;
  Scene& operator=(Scene&&) = delete;
};

using Step = void (*)(Scene& scene, size_t size);

void NoPreparation(Scene&, size_t) {}

void Attributes(Scene& scene, size_t size) {
  for (size_t index = 0; index < size; ++index) {
    DOM_Element_setAttribute(scene.root, SettingName(index).c_str(), "value");
  }
  scene.number = scene.root->attributes->length;
}

void Listeners(Scene& scene, size_t size) {
  for (size_t index = 0; index < size; ++index) {
    DOM_EventTarget_addEventListener(scene.root, SettingName(index).c_str(), nullptr, Ignore, 0);
  }
  scene.number = size;
}

void HearLoad(Scene& scene, size_t size) {
  scene.others.push_back(NewDocument());
  Hear(scene.others.back().get());
  CorpusFile("lines", size);
}

void LoadHeard(Scene& scene, size_t size) {
  DOM_DocumentLS_load(scene.others.back().get(), CorpusFile("lines", size).c_str());
  scene.number = size;
}

void AppendTexts(Scene& scene, size_t size) {
  for (size_t index = 0; index < size; ++index) {
    DOM_Node_appendChild(scene.root,
                         DOM_Document_createTextNode(scene.document.get(), "a line of text\n"));
  }
  Hear(scene.root);
}

void Normalise(Scene& scene, size_t) {
  DOM_Element_normalize(scene.root);
}

void AppendEmptyText(Scene& scene, size_t) {
  DOM_Node_appendChild(scene.root, DOM_Document_createTextNode(scene.document.get(), ""));
}

void AppendData(Scene& scene, size_t size) {
  for (size_t index = 0; index < size; ++index) {
    DOM_CharacterData_appendData(scene.root->firstChild, "a line of text\n");
  }
}

// A change makes a node of each document the one below which a notification is due.
void ManyDocuments(Scene& scene, size_t size) {
  for (size_t index = 0; index < size; ++index) {
    scene.others.push_back(NewDocument());
    DOM_Document* document = scene.others.back().get();
    DOM_Element* element = DOM_Document_createElement(document, "root");
    DOM_Node_appendChild(document, element);
    DOM_Node_appendChild(element, DOM_Document_createElement(document, "child"));
  }
}

void FreeDocuments(Scene& scene, size_t) {
  scene.others.clear();
}

void Chain(Scene& scene, size_t size) {
  DOM_Node* last = scene.root;
  for (size_t level = 0; level < size; ++level) {
    last = DOM_Node_appendChild(last, DOM_Document_createElement(scene.document.get(), "level"));
  }
}

void FreeChain(Scene& scene, size_t) {
  scene.document.reset();
}

struct Growth {
  const char* name;
  Step prepare;
  Step work;
};

bool AddGrowth() {
  static constexpr Growth kGrowths[] = {{"attributes", NoPreparation, Attributes},
                                        {"listeners", NoPreparation, Listeners},
                                        {"heard-load", HearLoad, LoadHeard},
                                        {"heard-normalise", AppendTexts, Normalise},
                                        {"append-data", AppendEmptyText, AppendData},
                                        {"free-documents", ManyDocuments, FreeDocuments},
                                        {"depth", NoPreparation, Chain},
                                        {"free-depth", Chain, FreeChain}};
  for (const Growth& growth : kGrowths) {
    const auto prepare = [&growth](size_t size) -> Prepared {
      const auto scene = std::make_shared<Scene>();
      growth.prepare(*scene, size);
      return {.work = [&growth, scene, size] { growth.work(*scene, size); },
              .result = [scene] { return std::to_string(scene->number); }};
    };
    Addition({"growth", growth.name, "ours", {1000, 2000, 4000}, prepare});
  }
  return true;
}

const bool kAdded = AddGrowth();

}  // namespace
}  // namespace qvx::bench

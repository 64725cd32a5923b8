// What every document model has to do: load, read, change, save, free. A contender is a class that
// stands for one document, with a handle `Node` and the operations that the cases below call. A
// model that lacks an operation, or refuses a document, leaves those cases out.
#ifndef QVX_BENCH_DOCUMENTS_H
#define QVX_BENCH_DOCUMENTS_H

#include <cstddef>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "bench/cases.h"
#include "bench/corpus.h"

namespace qvx::bench {

/// What stands in a document from its element downwards. White space is not counted, since a model
/// may drop it between elements.
struct Tally {
  size_t elements = 0;
  size_t attributes = 0;
  size_t comments = 0;
  size_t instructions = 0;
  size_t characters = 0;

  void AddText(std::string_view text);
  std::string Text() const;
};

/// The start tags in a file.
std::string StartTags(const std::string& path);

template <typename Model>
std::shared_ptr<Model> LoadedModel(std::string_view kind, size_t size) {
  auto model = std::make_shared<Model>();
  if (!model->Load(CorpusFile(kind, size))) {
    throw std::runtime_error(std::string(Model::kName) + " does not load " + std::string(kind));
  }
  return model;
}

/// The documents of the report.
struct Corpus {
  const char* kind;
  std::vector<size_t> sizes;
  size_t small_size = 20;
};
const std::vector<Corpus>& LoadedCorpora();
const std::vector<Corpus>& SavedCorpora();

template <typename Model>
void AddLoad(const Corpus& corpus) {
  const auto prepare = [kind = corpus.kind](size_t size) -> Prepared {
    const std::string path = CorpusFile(kind, size);
    auto model = std::make_shared<Model>();
    return {.work = [model, path] { static_cast<void>(model->Load(path)); },
            .result = [model] { return model->Count().Text(); }};
  };
  Addition({"load", corpus.kind, Model::kName, corpus.sizes, prepare, corpus.small_size});
}

template <typename Model>
void AddSaveAndFree(const Corpus& corpus) {
  const auto prepare_save = [kind = corpus.kind](size_t size) -> Prepared {
    const std::string path = ScratchDirectory() + "/saved";
    auto model = LoadedModel<Model>(kind, size);
    return {.work = [model, path] { static_cast<void>(model->Save(path)); },
            .result = [path] { return StartTags(path); }};
  };
  const auto prepare_free = [kind = corpus.kind](size_t size) -> Prepared {
    auto model = LoadedModel<Model>(kind, size);
    return {.work = [model] { model->Free(); }, .result = [] { return std::string(); }};
  };
  const size_t small = corpus.small_size;
  Addition({"save", corpus.kind, Model::kName, corpus.sizes, prepare_save, small});
  Addition({"free", corpus.kind, Model::kName, corpus.sizes, prepare_free, small});
}

/// A way to read a document that was loaded, and the number that comes of it.
template <typename Model>
struct Reading {
  const char* name;
  const char* kind;
  size_t (*read)(Model& model, size_t size);
};

template <typename Model>
void AddReadings() {
  static constexpr Reading<Model> kReadings[] = {
      {"first-by-name", "settings",
       [](Model& model, size_t size) { return model.FirstText(SettingName(size / 2).c_str()); }},
      {"all-by-name", "children", [](Model& model, size_t) { return model.CountByName("item"); }},
      {"by-index", "children", [](Model& model, size_t) { return model.VisitByIndex(); }},
      {"attribute-by-name", "children", [](Model& model, size_t) {
         size_t length = 0;
         for (auto node = model.FirstChild(model.Root()); node; node = model.NextSibling(node)) {
           length += model.AttributeLength(node, "name");
         }
         return length;
       }}};
  for (const Reading<Model>& reading : kReadings) {
    const auto prepare = [&reading](size_t size) -> Prepared {
      auto model = LoadedModel<Model>(reading.kind, size);
      auto number = std::make_shared<size_t>(0);
      return {.work = [&reading, model, number, size] { *number = reading.read(*model, size); },
              .result = [number] { return std::to_string(*number); }};
    };
    Addition({"read", reading.name, Model::kName, {1000, 10000, 100000}, prepare});
  }
}

/// A way to change a document of many children, and the event that tells a listener.
template <typename Model>
struct Change {
  using Nodes = std::vector<typename Model::Node>;

  const char* name;
  const char* event;
  void (*change)(Model& model, typename Model::Node root, const Nodes& children);
};

template <typename Model>
std::shared_ptr<Model> LoadedForChange(const char* event, size_t size) {
  auto model = LoadedModel<Model>("children", size);
  if constexpr (requires { model->Hear(event); }) {
    model->Hear(event);
  }
  return model;
}

template <typename Model>
void AddChanges() {
  using Node = typename Model::Node;
  using Nodes = std::vector<Node>;
  static constexpr Change<Model> kChanges[] = {
      {"append", "DOMNodeInserted",
       [](Model& model, Node root, const Nodes& children) {
         for (size_t count = children.size(); count > 0; --count) {
           model.Append(root, model.NewElement("fresh"));
         }
       }},
      {"insert-before", "DOMNodeInserted",
       [](Model& model, Node root, const Nodes& children) {
         for (const Node& child : children) {
           model.InsertBefore(root, model.NewElement("fresh"), child);
         }
       }},
      {"replace", "DOMNodeInserted",
       [](Model& model, Node root, const Nodes& children) {
         for (const Node& child : children) {
           model.Replace(root, model.NewElement("fresh"), child);
         }
       }},
      {"remove", "DOMNodeRemoved",
       [](Model& model, Node root, const Nodes& children) {
         for (const Node& child : children) {
           model.Remove(root, child);
         }
       }},
      {"set-attribute", "DOMAttrModified",
       [](Model& model, Node, const Nodes& children) {
         for (const Node& child : children) {
           model.SetAttribute(child, "name", "another");
         }
       }},
      {"add-attribute", "DOMAttrModified",
       [](Model& model, Node, const Nodes& children) {
         for (const Node& child : children) {
           model.SetAttribute(child, "rank", "first");
         }
       }},
      {"set-text", "DOMCharacterDataModified",
       [](Model& model, Node, const Nodes& children) {
         for (const Node& child : children) {
           model.SetText(child, "another");
         }
       }},
      {"clone", "DOMNodeInserted",
       [](Model& model, Node root, const Nodes&) { model.AppendClone(root); }}};
  for (const Change<Model>& change : kChanges) {
    const auto prepare = [&change](size_t size) -> Prepared {
      auto model = LoadedForChange<Model>(change.event, size);
      const Node root = model->Root();
      Nodes children;
      for (auto node = model->FirstChild(root); node; node = model->NextSibling(node)) {
        children.push_back(node);
      }
      return {.work = [&change, model, root, children] { change.change(*model, root, children); },
              .result = [model] { return model->Count().Text(); }};
    };
    Addition({"change", change.name, Model::kName, {1000, 10000, 100000}, prepare});
  }
}

/// Adds all cases of a model, but for the documents whose kinds `left_out` names.
template <typename Model>
bool AddModel(std::string_view left_out = "") {
  for (const Corpus& corpus : LoadedCorpora()) {
    if (left_out.find(corpus.kind) == std::string_view::npos) {
      AddLoad<Model>(corpus);
    }
  }
  for (const Corpus& corpus : SavedCorpora()) {
    if (left_out.find(corpus.kind) == std::string_view::npos) {
      AddSaveAndFree<Model>(corpus);
    }
  }
  AddReadings<Model>();
  AddChanges<Model>();
  return true;
}

}  // namespace qvx::bench

#endif

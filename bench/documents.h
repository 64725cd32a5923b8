// What every document model has to do: load, read, change, save, free. A contender is a class that
// stands for one document, with a handle `Node` and the operations that the cases below call. A
// model reads by a walk over its nodes, unless it has an operation for that.
#ifndef QVX_BENCH_DOCUMENTS_H
#define QVX_BENCH_DOCUMENTS_H

#include <algorithm>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "bench/cases.h"
#include "bench/corpus.h"

namespace qvx::bench {

/// The numbers of the document object model for the types of nodes.
enum Type {
  kOther = 0,
  kElement = 1,
  kText = 3,
  kCdata = 4,
  kInstruction = 7,
  kComment = 8,
  kTypes
};

/// The characters of a text. White space is not counted, since a model may drop it between
/// elements.
template <typename Character>
size_t CharactersOf(std::basic_string_view<Character> text) {
  return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](Character c) {
    return c != Character(' ') && c != Character('\n');
  }));
}

/// The number of start tags in a file.
std::string StartTags(const std::string& path);

template <typename Model>
using NodeOf = typename Model::Node;

/// The node behind `node` in the order of the document; null behind the last one.
template <typename Model>
NodeOf<Model> Following(Model& model, NodeOf<Model> node) {
  if (model.TypeOf(node) == kElement && model.FirstChild(node)) {
    return model.FirstChild(node);
  }
  const NodeOf<Model> root = model.Root();
  while (node != root && !model.NextSibling(node)) {
    node = model.Parent(node);
  }
  return node == root ? NodeOf<Model>() : model.NextSibling(node);
}

/// What stands in a document from its element downwards: elements, attributes, comments,
/// instructions, characters.
template <typename Model>
std::string Contents(Model& model) {
  size_t counts[kTypes + 1] = {};
  size_t attributes = 0;
  size_t characters = 0;
  for (auto node = model.Root(); node; node = Following(model, node)) {
    const int type = model.TypeOf(node);
    ++counts[std::min<int>(type, kTypes)];
    attributes += type == kElement ? model.AttributeCount(node) : 0;
    characters += type == kText || type == kCdata ? CharactersOf(model.Value(node)) : 0;
  }
  std::string text;
  for (const size_t count :
       {counts[kElement], attributes, counts[kComment], counts[kInstruction], characters}) {
    text += std::to_string(count) + ' ';
  }
  return text;
}

template <typename Model>
bool IsCalled(Model& model, NodeOf<Model> node, const char* name) {
  return model.TypeOf(node) == kElement && std::string_view(model.Name(node)) == name;
}

/// The length of the text of the first element with a name.
template <typename Model>
size_t FirstText(Model& model, const char* name) {
  if constexpr (requires { model.FirstByName(name); }) {
    return model.Value(model.FirstChild(model.FirstByName(name))).size();
  } else {
    auto node = model.Root();
    while (!IsCalled(model, node, name)) {
      node = Following(model, node);
    }
    return model.Value(model.FirstChild(node)).size();
  }
}

/// The number of the elements with a name, which are collected in a list.
template <typename Model>
size_t CountByName(Model& model, const char* name) {
  if constexpr (requires { model.CountByName(name); }) {
    return model.CountByName(name);
  } else {
    std::vector<NodeOf<Model>> found;
    for (auto node = model.Root(); node; node = Following(model, node)) {
      if (IsCalled(model, node, name)) {
        found.push_back(node);
      }
    }
    return found.size();
  }
}

/// A model whose lists start anew for each index, or that has none, walks along the siblings.
template <typename Model>
size_t VisitByIndex(Model& model) {
  size_t count = 0;
  if constexpr (requires { model.Child(model.Root(), count); }) {
    while (model.Child(model.Root(), count)) {
      ++count;
    }
  } else {
    for (auto node = model.FirstChild(model.Root()); node; node = model.NextSibling(node)) {
      ++count;
    }
  }
  return count;
}

template <typename Model>
std::shared_ptr<Model> Loaded(std::string_view kind, size_t size) {
  auto model = std::make_shared<Model>();
  if (!model->Load(DocumentFile(kind, size))) {
    throw std::runtime_error(std::string(Model::kName) + " does not load " + std::string(kind));
  }
  return model;
}

/// The largest documents are only loaded: below callgrind, each further preparation takes seconds.
inline std::vector<size_t> SizesToSave(const Document& document) {
  const std::vector<size_t>& sizes = document.sizes;
  return {sizes.begin(), sizes.end() - (sizes.empty() ? 0 : 1)};
}

template <typename Model>
void AddLoadSaveAndFree(const Document& document) {
  const std::string& kind = document.kind;
  const auto load = [kind](size_t size) -> Prepared {
    const std::string path = DocumentFile(kind, size);
    auto model = std::make_shared<Model>();
    return {[model, path] { static_cast<void>(model->Load(path)); },
            [model] { return Contents(*model); }};
  };
  const auto save = [kind](size_t size) -> Prepared {
    const std::string path = ScratchDirectory() + "/saved";
    auto model = Loaded<Model>(kind, size);
    return {[model, path] { static_cast<void>(model->Save(path)); },
            [path] { return StartTags(path); }};
  };
  const auto free = [kind](size_t size) -> Prepared {
    return {[model = Loaded<Model>(kind, size)] { model->Free(); }};
  };
  const std::vector<size_t> smaller = SizesToSave(document);
  Addition({"load", kind, Model::kName, document.sizes, load});
  Addition({"save", kind, Model::kName, smaller, save});
  Addition({"free", kind, Model::kName, smaller, free});
}

/// Adds a way to read a document that was loaded, which tells a number.
template <typename Model, typename Read>
void AddReading(const char* name, const char* kind, Read read) {
  Addition({"read", name, Model::kName, {1000, 10000, 100000}, [kind, read](size_t size) {
              return Counted(
                  [read, model = Loaded<Model>(kind, size), size] { return read(*model, size); });
            }});
}

template <typename Model>
void AddReadings() {
  AddReading<Model>("first-by-name", "settings", [](Model& model, size_t size) {
    return FirstText(model, SettingName(size / 2).c_str());
  });
  AddReading<Model>("all-by-name", "children",
                    [](Model& model, size_t) { return CountByName(model, "item"); });
  AddReading<Model>("by-index", "children",
                    [](Model& model, size_t) { return VisitByIndex(model); });
  AddReading<Model>("attribute-by-name", "children", [](Model& model, size_t) {
    size_t length = 0;
    for (auto node = model.FirstChild(model.Root()); node; node = model.NextSibling(node)) {
      length += model.AttributeLength(node, "name");
    }
    return length;
  });
}

/// Adds a way to change a document, for each of its many children in turn. A listener hears the
/// event.
template <typename Model, typename Change>
void AddChange(const char* name, const char* event, Change change) {
  const auto prepare = [=](size_t size) -> Prepared {
    auto model = Loaded<Model>("children", size);
    if constexpr (requires { model->Hear(event); }) {
      model->Hear(event);
    }
    const NodeOf<Model> root = model->Root();
    std::vector<NodeOf<Model>> children;
    for (auto node = model->FirstChild(root); node; node = model->NextSibling(node)) {
      children.push_back(node);
    }
    return {[change, model, root, children] {
              std::for_each(children.begin(), children.end(),
                            [&](const NodeOf<Model>& child) { change(*model, root, child); });
            },
            [model] { return Contents(*model); }};
  };
  Addition({"change", name, Model::kName, {1000, 10000, 100000}, prepare});
}

template <typename Model>
void AddChanges() {
  using Node = NodeOf<Model>;
  AddChange<Model>("append", "DOMNodeInserted", [](Model& model, Node root, Node) {
    model.Append(root, model.NewElement("fresh"));
  });
  AddChange<Model>("insert-before", "DOMNodeInserted", [](Model& model, Node root, Node child) {
    model.InsertBefore(root, model.NewElement("fresh"), child);
  });
  AddChange<Model>("replace", "DOMNodeInserted", [](Model& model, Node root, Node child) {
    model.Replace(root, model.NewElement("fresh"), child);
  });
  AddChange<Model>("remove", "DOMNodeRemoved",
                   [](Model& model, Node root, Node child) { model.Remove(root, child); });
  AddChange<Model>("set-attribute", "DOMAttrModified", [](Model& model, Node, Node child) {
    model.SetAttribute(child, "name", "another");
  });
  AddChange<Model>("add-attribute", "DOMAttrModified", [](Model& model, Node, Node child) {
    model.SetAttribute(child, "rank", "first");
  });
  AddChange<Model>("set-text", "DOMCharacterDataModified",
                   [](Model& model, Node, Node child) { model.SetText(child, "another"); });
  AddChange<Model>("clone", "DOMNodeInserted", [](Model& model, Node root, Node child) {
    if (child == model.FirstChild(root)) {
      model.AppendClone(root);
    }
  });
}

/// Adds all cases of a model, but for the documents whose kinds `left_out` names.
template <typename Model>
bool AddModel(std::string_view left_out = "") {
  for (const Document& document : Documents()) {
    if (left_out.find(document.kind) == std::string_view::npos) {
      AddLoadSaveAndFree<Model>(document);
    }
  }
  AddReadings<Model>();
  AddChanges<Model>();
  return true;
}

}  // namespace qvx::bench

#endif

// The least work that a document model can do. Loading: the parser alone, with the handlers that
// are needed, empty, fed in the same blocks. Everything else: bare nodes of one block each.
#include <expat.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <utility>

#include "bench/documents.h"

namespace qvx::bench {
namespace {

constexpr int kBlockSize = 8192;

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
struct ParserDeleter {
  void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};
using ParserHolder = std::unique_ptr<XML_ParserStruct, ParserDeleter>;

bool Parse(XML_Parser parser, const std::string& path) {
  const std::unique_ptr<std::FILE, FileCloser> file(std::fopen(path.c_str(), "r"));
  for (bool is_last = false; !is_last;) {
    void* block = XML_GetBuffer(parser, kBlockSize);
    const size_t size = std::fread(block, 1, kBlockSize, file.get());
    is_last = size < kBlockSize;
    if (XML_ParseBuffer(parser, static_cast<int>(size), is_last ? 1 : 0) == XML_STATUS_ERROR) {
      return false;
    }
  }
  return true;
}

bool ParseIntoNothing(const std::string& path) {
  const ParserHolder parser(XML_ParserCreate(nullptr));
  XML_Parser p = parser.get();
  XML_SetElementHandler(
      p, [](void*, const char*, const char**) {}, [](void*, const char*) {});
  XML_SetCharacterDataHandler(p, [](void*, const char*, int) {});
  XML_SetCdataSectionHandler(
      p, [](void*) {}, [](void*) {});
  XML_SetCommentHandler(p, [](void*, const char*) {});
  XML_SetProcessingInstructionHandler(p, [](void*, const char*, const char*) {});
  XML_SetXmlDeclHandler(p, [](void*, const char*, const char*, int) {});
  XML_SetDoctypeDeclHandler(
      p, [](void*, const char*, const char*, const char*, int) {}, [](void*) {});
  XML_SetElementDeclHandler(p, [](void* parser_data, const char*, XML_Content* model) {
    XML_FreeContentModel(static_cast<XML_Parser>(parser_data), model);
  });
  XML_UseParserAsHandlerArg(p);
  XML_SetAttlistDeclHandler(p,
                            [](void*, const char*, const char*, const char*, const char*, int) {});
  XML_SetEntityDeclHandler(p, [](void*, const char*, int, const char*, int, const char*,
                                 const char*, const char*, const char*) {});
  XML_SetNotationDeclHandler(p, [](void*, const char*, const char*, const char*, const char*) {});
  return Parse(p, path);
}

// An attribute hangs on its element by `first_attribute` and on the next one by `next`. The name
// of a node and that of an attribute, and the text, stand behind the record.
struct Bare {
  Bare* parent;
  Bare* first;
  Bare* last;
  Bare* previous;
  Bare* next;
  Bare* first_attribute;
  char* value;  // of an attribute, or a text that was set later, in a block of its own
  bool is_text;

  char* words() { return reinterpret_cast<char*>(this + 1); }
  char* text() { return value != nullptr ? value : words(); }
};

Bare* NewBare(std::string_view words, bool is_text) {
  Bare* node = static_cast<Bare*>(std::malloc(sizeof(Bare) + words.size() + 1));
  *node = Bare{};
  node->is_text = is_text;
  std::memcpy(node->words(), words.data(), words.size());
  node->words()[words.size()] = '\0';
  return node;
}

void FreeBare(Bare* node) {
  while (Bare* attribute = node->first_attribute) {
    node->first_attribute = attribute->next;
    std::free(attribute->value);
    std::free(attribute);
  }
  std::free(node->value);
  std::free(node);
}

class Floor {
 public:
  using Node = Bare*;
  static constexpr char kName[] = "floor";

  Floor() = default;
  ~Floor() { Free(); }
  Floor(const Floor&) = delete;
  Floor& operator=(const Floor&) = delete;
  Floor(Floor&&) = delete;
  Floor& operator=(Floor&&) = delete;

  bool Load(const std::string& path) {
    const ParserHolder parser(XML_ParserCreate(nullptr));
    XML_SetUserData(parser.get(), this);
    XML_SetElementHandler(parser.get(), Start, End);
    XML_SetCharacterDataHandler(parser.get(), [](void* data, const char* text, int length) {
      Floor& floor = *static_cast<Floor*>(data);
      Append(floor.open_, NewBare({text, static_cast<size_t>(length)}, true));
    });
    std::ifstream stream(path, std::ios::binary);
    bytes_.assign(std::istreambuf_iterator<char>(stream), {});
    return Parse(parser.get(), path);
  }
  bool Save(const std::string& path) const {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    const bool is_whole = write(file, bytes_.data(), bytes_.size()) >= 0;
    return close(file) == 0 && is_whole;
  }
  void Free() {
    for (Bare* node = root_; node != nullptr;) {
      if (node->first != nullptr) {
        node = std::exchange(node->first, nullptr);
        continue;
      }
      Bare* following = node->next != nullptr ? node->next : node->parent;
      FreeBare(node);
      node = following;
    }
    root_ = nullptr;
  }

  Node Root() { return root_; }
  static Node FirstChild(Node node) { return node->first; }
  static Node NextSibling(Node node) { return node->next; }
  Tally Count() {
    Tally tally;
    for (Bare* node = root_; node != nullptr; node = Following(node)) {
      tally.elements += node->is_text ? 0 : 1;
      for (Bare* attribute = node->first_attribute; attribute; attribute = attribute->next) {
        ++tally.attributes;
      }
      tally.AddText(node->is_text ? node->text() : "");
    }
    return tally;
  }

  size_t FirstText(const char* name) {
    Bare* node = root_;
    while (std::strcmp(node->words(), name) != 0) {
      node = Following(node);
    }
    return std::strlen(node->first->text());
  }
  size_t CountByName(const char* name) {
    size_t count = 0;
    for (Bare* node = root_; node != nullptr; node = Following(node)) {
      count += !node->is_text && std::strcmp(node->words(), name) == 0 ? 1 : 0;
    }
    return count;
  }
  size_t VisitByIndex() {
    size_t count = 0;
    for (const Bare* node = root_->first; node != nullptr; node = node->next) {
      ++count;
    }
    return count;
  }
  static size_t AttributeLength(Node node, const char* name) {
    return std::strlen(Attribute(node, name)->value);
  }

  static Node NewElement(const char* name) { return NewBare(name, false); }
  static void Append(Node parent, Node node) {
    node->parent = parent;
    node->previous = parent->last;
    (parent->last != nullptr ? parent->last->next : parent->first) = node;
    parent->last = node;
  }
  static void InsertBefore(Node parent, Node node, Node reference) {
    node->parent = parent;
    node->next = reference;
    node->previous = reference->previous;
    (node->previous != nullptr ? node->previous->next : parent->first) = node;
    reference->previous = node;
  }
  static void Replace(Node parent, Node node, Node old) {
    InsertBefore(parent, node, old);
    Remove(parent, old);
  }
  static void Remove(Node parent, Node node) {
    (node->previous != nullptr ? node->previous->next : parent->first) = node->next;
    (node->next != nullptr ? node->next->previous : parent->last) = node->previous;
    for (Bare* child = node->first; child != nullptr;) {
      FreeBare(std::exchange(child, child->next));
    }
    FreeBare(node);
  }
  static void SetAttribute(Node node, const char* name, const char* value) {
    Bare* attribute = Attribute(node, name);
    if (attribute == nullptr) {
      attribute = NewBare(name, false);
      attribute->next = std::exchange(node->first_attribute, attribute);
    }
    std::free(attribute->value);
    attribute->value = strdup(value);
  }
  static void SetText(Node node, const char* text) {
    std::free(node->first->value);
    node->first->value = strdup(text);
  }
  static void AppendClone(Node root) {
    Bare* copy = Copy(root);
    for (Bare *source = root->first, *parent = copy; source != nullptr;) {
      Append(parent, Copy(source));
      if (source->first != nullptr) {
        source = source->first;
        parent = parent->last;
        continue;
      }
      while (source->next == nullptr && source->parent != root) {
        source = source->parent;
        parent = parent->parent;
      }
      source = source->next;
    }
    Append(root, copy);
  }

 private:
  static void Start(void* data, const char* name, const char** attributes) {
    Floor& floor = *static_cast<Floor*>(data);
    Bare* node = NewElement(name);
    for (; *attributes != nullptr; attributes += 2) {
      SetAttribute(node, attributes[0], attributes[1]);
    }
    if (floor.open_ == nullptr) {
      floor.root_ = node;
    } else {
      Append(floor.open_, node);
    }
    floor.open_ = node;
  }
  static void End(void* data, const char*) {
    Floor& floor = *static_cast<Floor*>(data);
    floor.open_ = floor.open_->parent;
  }
  static Bare* Attribute(Bare* node, const char* name) {
    Bare* attribute = node->first_attribute;
    while (attribute != nullptr && std::strcmp(attribute->words(), name) != 0) {
      attribute = attribute->next;
    }
    return attribute;
  }
  static Bare* Copy(Bare* node) {
    Bare* copy = NewBare(node->is_text ? node->text() : node->words(), node->is_text);
    for (Bare* attribute = node->first_attribute; attribute; attribute = attribute->next) {
      SetAttribute(copy, attribute->words(), attribute->value);
    }
    return copy;
  }
  Bare* Following(Bare* node) const {
    if (node->first != nullptr) {
      return node->first;
    }
    while (node != root_ && node->next == nullptr) {
      node = node->parent;
    }
    return node == root_ ? nullptr : node->next;
  }

  Bare* root_ = nullptr;
  Bare* open_ = nullptr;
  std::string bytes_;
};

bool AddFloor() {
  for (const Corpus& corpus : LoadedCorpora()) {
    const auto prepare = [kind = corpus.kind](size_t size) -> Prepared {
      const std::string path = CorpusFile(kind, size);
      return {.work = [path] { static_cast<void>(ParseIntoNothing(path)); },
              .result = [] { return std::string(); }};
    };
    Addition({"load", corpus.kind, Floor::kName, corpus.sizes, prepare, corpus.small_size});
  }
  for (const Corpus& corpus : SavedCorpora()) {
    AddSaveAndFree<Floor>(corpus);
  }
  AddReadings<Floor>();
  AddChanges<Floor>();
  return true;
}

const bool kAdded = AddFloor();

}  // namespace
}  // namespace qvx::bench

// The least work that loading and saving allow: the parser alone, with the handlers that are
// needed, empty, fed in the same blocks; the same bytes in one write(2).
#include <expat.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>

#include "bench/documents.h"
#include "os/files.h"

namespace qvx::bench {
namespace {

constexpr int kBlockSize = 8192;

void SetEmptyHandlers(XML_Parser parser) {
  XML_UseParserAsHandlerArg(parser);
  const auto ignore = [](void*) {};
  const auto ignore_name = [](void*, const char*) {};
  const auto ignore_element = [](void*, const char*, const char**) {};
  XML_SetElementHandler(parser, ignore_element, ignore_name);
  XML_SetCharacterDataHandler(parser, [](void*, const char*, int) {});
  XML_SetCdataSectionHandler(parser, ignore, ignore);
  XML_SetCommentHandler(parser, ignore_name);
  XML_SetProcessingInstructionHandler(parser, [](void*, const char*, const char*) {});
  XML_SetXmlDeclHandler(parser, [](void*, const char*, const char*, int) {});
  XML_SetDoctypeDeclHandler(
      parser, [](void*, const char*, const char*, const char*, int) {}, [](void*) {});
  XML_SetElementDeclHandler(parser, [](void* owner, const char*, XML_Content* model) {
    XML_FreeContentModel(static_cast<XML_Parser>(owner), model);
  });
  XML_SetAttlistDeclHandler(parser,
                            [](void*, const char*, const char*, const char*, const char*, int) {});
  XML_SetEntityDeclHandler(parser, [](void*, const char*, int, const char*, int, const char*,
                                      const char*, const char*, const char*) {});
  XML_SetNotationDeclHandler(parser,
                             [](void*, const char*, const char*, const char*, const char*) {});
}

void ParseIntoNothing(const std::string& path) {
  const std::unique_ptr<XML_ParserStruct, void (*)(XML_Parser)> parser(XML_ParserCreate(nullptr),
                                                                       XML_ParserFree);
  SetEmptyHandlers(parser.get());
  const File file(std::fopen(path.c_str(), "r"));
  for (bool is_last = false; !is_last;) {
    void* block = XML_GetBuffer(parser.get(), kBlockSize);
    const size_t size = std::fread(block, 1, kBlockSize, file.get());
    is_last = size < kBlockSize;
    XML_ParseBuffer(parser.get(), static_cast<int>(size), is_last ? 1 : 0);
  }
}

bool AddFloor() {
  for (const Document& document : Documents()) {
    const auto load = [kind = document.kind](size_t size) -> Prepared {
      return {[path = DocumentFile(kind, size)] { ParseIntoNothing(path); }};
    };
    const auto save = [kind = document.kind](size_t size) -> Prepared {
      std::ifstream stream(DocumentFile(kind, size), std::ios::binary);
      const std::string text(std::istreambuf_iterator<char>(stream), {});
      return {[path = ScratchDirectory() + "/saved", text] {
        const Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666));
        [[maybe_unused]] const ssize_t count = write(file.get(), text.data(), text.size());
      }};
    };
    Addition({"load", document.kind, "floor", document.sizes, load});
    Addition({"save", document.kind, "floor", SizesToSave(document), save});
  }
  return true;
}

const bool kAdded = AddFloor();

}  // namespace

std::string StartTags(const std::string& path) {
  size_t tags = 0;
  std::ifstream stream(path, std::ios::binary);
  for (std::string piece; std::getline(stream, piece, '<');) {
    tags += stream.peek() != EOF && std::strchr("/?!", stream.peek()) == nullptr ? 1 : 0;
  }
  return std::to_string(tags);
}

}  // namespace qvx::bench

#include "webconf/webapp_extensions.h"

#include <memory>
#include <new>
#include <string>
#include <utility>

#include "dom/handles.h"
#include "log/ring_log.h"
#include "os/directories.h"
#include "os/directory_search.h"
#include "os/strings.h"
#include "support/malloc_owner.h"
#include "webconf/php_ini.h"

namespace qvx {
namespace {

DocumentHolder LoadDescriptor(const char* path) {
  constexpr int kLoaded = 1;
  DocumentHolder document = NewDocument();
  if (!document || DOM_DocumentLS_load(document.get(), path) != kLoaded) {
    return nullptr;
  }
  return document;
}

void RequestExtension(const char* name) {
  for (PHPExtensionEntry& extension : allowablePHPExtensions) {
    if (stricmp(name, extension.sName) == 0) {
      extension.isRequested = 1;
      return;
    }
  }
}

/// Closes a search when it ends or memory runs out.
class Search {
 public:
  Search(const std::string& pattern, OSFindRecord* found)
      : handle_(OSFindFirstFile(pattern.c_str(), found)) {}
  ~Search() { Close(); }
  Search(const Search&) = delete;
  Search& operator=(const Search&) = delete;
  Search(Search&&) = delete;
  Search& operator=(Search&&) = delete;

  OSFindHandle handle() const { return handle_; }
  int Close() { return OSFindClose(std::exchange(handle_, kNoSearch)); }

 private:
  OSFindHandle handle_;
};

/// Hands the path of each descriptor to `take`. Returns the result of closing the search.
template <typename Take>
int ForEachDescriptor(Take take) {
  const std::string directory = WritablePath("/webapp/");
  const auto found = std::make_unique<OSFindRecord>();
  Search search(directory + "*.xml", found.get());
  for (bool more = search.handle() != kNoSearch; more;
       more = OSFindNextFile(search.handle(), found.get()) == 0) {
    take(directory + found->name);
  }
  return search.Close();
}

}  // namespace

std::vector<std::string> BrokenDescriptors() {
  std::vector<std::string> broken;
  ForEachDescriptor([&broken](const std::string& path) {
    if (!LoadDescriptor(path.c_str())) {
      broken.push_back(path);
    }
  });
  return broken;
}

}  // namespace qvx

int CheckWebAppXMLsForExtensions() {
  for (PHPExtensionEntry& extension : allowablePHPExtensions) {
    extension.isRequested = 0;
  }
  return qvx::ForEachDescriptor([](const std::string& path) { ParseWebAppXML(path.c_str()); });
}

void ParseWebAppXML(const char* path) {
  if (path == nullptr) {
    return;
  }
  const qvx::DocumentHolder document = qvx::LoadDescriptor(path);
  if (!document) {
    LogOutput(kLogError, "Failed to parse webapp configuration file %s.", path);
    return;
  }
  const qvx::NodeListHolder elements(DOM_Document_getElementsByTagName(document.get(), "extension"),
                                     {document.get()});
  if (!elements) {
    throw std::bad_alloc();
  }
  for (int32_t i = 0; DOM_Element* element = DOM_NodeList_item(elements.get(), i); ++i) {
    const qvx::MallocOwner<char> name(DOM_Element_getAttribute(element, "name"));
    if (name) {
      qvx::RequestExtension(name.get());
    }
  }
}

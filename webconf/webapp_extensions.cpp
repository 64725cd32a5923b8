#include "webconf/webapp_extensions.h"

#include <memory>
#include <string>

#include "dom/handles.h"
#include "log/ring_log.h"
#include "os/directories.h"
#include "os/directory_search.h"
#include "os/files.h"
#include "os/strings.h"
#include "support/malloc_owner.h"
#include "webconf/php_ini.h"

namespace qvx {
namespace {

DocumentHolder LoadDescriptor(const char* path) {
  constexpr int kLoaded = 1;
  if (IsPipeOrDevice(path)) {
    return nullptr;
  }
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

}  // namespace
}  // namespace qvx

int CheckWebAppXMLsForExtensions() {
  for (PHPExtensionEntry& extension : allowablePHPExtensions) {
    extension.isRequested = 0;
  }
  const std::string directory = qvx::WritablePath("/webapp/");
  const auto found = std::make_unique<OSFindRecord>();
  const OSFindHandle search = OSFindFirstFile((directory + "*.xml").c_str(), found.get());
  for (bool more = search != kNoSearch; more; more = OSFindNextFile(search, found.get()) == 0) {
    ParseWebAppXML((directory + found->name).c_str());
  }
  return OSFindClose(search);
}

void ParseWebAppXML(const char* path) {
  const qvx::DocumentHolder document = qvx::LoadDescriptor(path);
  if (!document) {
    LogOutput(kLogError, "Failed to parse webapp configuration file %s.", path);
    return;
  }
  const qvx::NodeListHolder elements(DOM_Document_getElementsByTagName(document.get(), "extension"), {document.get()});
  for (int32_t i = 0; DOM_Element* element = DOM_NodeList_item(elements.get(), i); ++i) {
    const qvx::MallocOwner<char> name(DOM_Element_getAttribute(element, "name"));
    if (name) {
      qvx::RequestExtension(name.get());
    }
  }
}

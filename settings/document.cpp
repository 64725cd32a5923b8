#include "settings/document.h"

#include <fcntl.h>

#include <cerrno>
#include <new>
#include <string>
#include <utility>

#include "dom/handles.h"
#include "os/directories.h"
#include "os/directory_chains.h"
#include "os/files.h"
#include "os/service_files.h"
#include "os/strings.h"
#include "support/msgno.h"

const char QVX_XML_DEFAULT[] =
    R"(<?xml version="1.0" encoding="UTF-8"?>
<velquarn>
<admin-group></admin-group>
<operator-group></operator-group>
<user-group></user-group>
<allow-default-os-admin>True</allow-default-os-admin>
<anonymous-access>False</anonymous-access>
<localaccess-enabled>False</localaccess-enabled>
<localaccess-type>Anonymous</localaccess-type>
<multihomed></multihomed>
<trustmode>TrustByCert</trustmode>
<yrnamelist></yrnamelist>
<rotate-logs-size>5</rotate-logs-size>
<ip-restricted-logins>False</ip-restricted-logins>
<ip-restricted-include></ip-restricted-include>
<ip-restricted-exclude></ip-restricted-exclude>
<ip-binding>False</ip-binding>
<ip-binding-list></ip-binding-list>
</velquarn>)";

namespace qvx {

namespace {

/// Results of DOM_DocumentLS_load.
constexpr int kLoaded = 1;
constexpr int kNotParsed = 0;
constexpr int kNotOpened = -1;

/// What a load leaves in the error cell when a read fails: the indicator of the stream.
constexpr int32_t kReadError = 1;

/// The text of every element without content. It is not const, because texts of the record may be
/// cut in place; cutting never changes a text without a separator.
char empty_text[] = "";

DOM_Element* FirstElement(DOM_Document* document, const char* name) {
  const NodeListHolder elements(DOM_Document_getElementsByTagName(document, name), {document});
  return elements ? DOM_NodeList_item(elements.get(), 0) : nullptr;
}

/// Puts the node in the place of the element's first child, or appends it to an element without
/// children.
bool PutFirstChild(DOM_Element* element, NodeHolder node) {
  if (element->firstChild == nullptr) {
    if (DOM_Node_appendChild(element, node.get()) == nullptr) {
      return false;
    }
    static_cast<void>(node.release());
    return true;
  }
  const NodeHolder replaced(DOM_Node_replaceChild(element, node.get(), element->firstChild),
                            node.get_deleter());
  if (replaced) {
    static_cast<void>(node.release());
  }
  return replaced != nullptr;
}

}  // namespace

std::string SettingsPath() {
  return InstallationPath(QVX_INTERNAL_XML_NAME);
}

LoadResult LoadSettings(DOM_Document* document) {
  if (document == nullptr) {
    throw std::bad_alloc();
  }
  const int result = DOM_DocumentLS_load(document, SettingsPath().c_str());
  if (result != kLoaded && dom::LoadRanOutOfMemory()) {
    throw std::bad_alloc();
  }
  if (result == kLoaded) {
    return LoadResult::kRead;
  }
  if (result == kNotParsed && *_DOM_Exception() == kReadError) {
    return LoadResult::kReadFailed;
  }
  return result == kNotOpened && !IsNoFile(*_DOM_Exception()) ? LoadResult::kNotOpened
                                                              : LoadResult::kNotWellFormed;
}

char* SettingText(DOM_Document* document, const char* name) {
  const NodeListHolder elements(DOM_Document_getElementsByTagName(document, name), {document});
  if (!elements) {
    throw std::bad_alloc();
  }
  const DOM_Element* element = DOM_NodeList_item(elements.get(), 0);
  if (element == nullptr) {
    return nullptr;
  }
  return element->firstChild == nullptr ? empty_text : element->firstChild->nodeValue;
}

namespace {

void MakeDirectories(std::string path) {
  OSCheckDir(path.data());
}

/// A document that was made meanwhile stays.
bool MakeDefault(const std::string& path) {
  FileReplacement file(path, ServiceFile());
  if (!file || !file.Write(QVX_XML_DEFAULT)) {
    return false;
  }
  if (!file.CommitNew()) {
    return errno == EEXIST;
  }
  ProtectCommitted(file, path);
  return true;
}

uint32_t CheckSettingsFile(bool is_forced) {
  const std::string path = SettingsPath();
  if (path.size() >= kPathCapacity) {
    return 1;
  }
  if (!is_forced && OpenFile(path, "r")) {
    return 0;
  }
  const bool is_missing = errno == ENOENT;
  MakeDirectories(path);
  if (!is_forced) {
    return is_missing && MakeDefault(path) ? 0 : 1;
  }
  return MayWriteDefault() && WriteServiceFile(path, QVX_XML_DEFAULT) ? 0 : 1;
}

}  // namespace

bool MayWriteDefault() {
  const std::string path = SettingsPath();
  if (OpenDescriptor(path, O_WRONLY) || errno == ENOENT) {
    return true;
  }
  return errno == ELOOP && ModeLetsWrite(path);
}

bool ForeseeDefault(LoadResult reading) {
  const std::string path = SettingsPath();
  if (path.size() >= kPathCapacity || !ForeseeCheckedDirectories(path)) {
    return false;
  }
  const int refusal = ForeseeOpening(path, O_WRONLY);
  const int opening = refusal == ELOOP && ModeLetsWrite(path) ? 0 : refusal;
  const int replacement = ForeseeReplacement(path);
  if (reading == LoadResult::kNotWellFormed) {
    return opening == 0 && replacement == 0;
  }
  // The directory may still have to be made, but not one to which a link leads.
  const std::optional<Place> place = FindPlace(path, Access::kRead, LastLink::kStay);
  const bool is_link = place && place->exists();
  return opening == ENOENT && (replacement == 0 || (replacement == ENOENT && !is_link));
}

}  // namespace qvx

uint32_t CheckQVXXML(uint32_t force) {
  try {
    return qvx::CheckSettingsFile(force != 0);
  } catch (const std::bad_alloc&) {
    return 1;
  }
}

char* GetElementValue(DOM_Document* document, const char* name) {
  try {
    return qvx::SettingText(document, name);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

char* GetElementAttributeValue(DOM_Document* document, const char* name, const char* attribute) {
  const DOM_Element* element = qvx::FirstElement(document, name);
  return element == nullptr ? nullptr : DOM_Element_getAttribute(element, attribute);
}

int32_t SetElementValue(DOM_Document* document, const char* path, const char* name,
                        const char* value) {
  DOM_Element* element = document == nullptr ? nullptr : qvx::FirstElement(document, name);
  if (element == nullptr) {
    return 1;
  }
  qvx::NodeHolder text(DOM_Document_createTextNode(document, value), qvx::NodeDeleter{document});
  if (!text || !qvx::PutFirstChild(element, std::move(text))) {
    return 1;
  }
  return DOM_DocumentLS_save(document, path, nullptr) == 0 ? 0 : 1;
}

int stricmp_chk(const char* a, const char* b) {
  return a == nullptr || b == nullptr ? 1 : stricmp(a, b);
}

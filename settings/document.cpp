#include "settings/document.h"

#include <string>
#include <utility>

#include "dom/handles.h"
#include "os/directories.h"
#include "os/files.h"
#include "os/strings.h"

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

// Stands for the text of every element without content. Not const, because the record's texts may be cut in place;
// that never changes a text without a separator.
char empty_text[] = "";

DOM_Element* FirstElement(DOM_Document* document, const char* name) {
  const NodeListHolder elements(DOM_Document_getElementsByTagName(document, name), {document});
  return elements ? DOM_NodeList_item(elements.get(), 0) : nullptr;
}

// Puts the node in the place of the element's first child, or makes it the only child.
bool PutFirstChild(DOM_Element* element, NodeHolder node) {
  if (element->firstChild == nullptr) {
    if (DOM_Node_appendChild(element, node.get()) == nullptr) {
      return false;
    }
    static_cast<void>(node.release());
    return true;
  }
  const NodeHolder replaced(DOM_Node_replaceChild(element, node.get(), element->firstChild), node.get_deleter());
  if (replaced) {
    static_cast<void>(node.release());
  }
  return replaced != nullptr;
}

}  // namespace

int LoadSettingsFile(DOM_Document* document, const std::string& path) {
  return IsPipeOrDevice(path) ? -1 : DOM_DocumentLS_load(document, path.c_str());
}

}  // namespace qvx

uint32_t CheckQVXXML(uint32_t force) {
  const std::string path = qvx::InstallationPath(QVX_INTERNAL_XML_NAME);
  if (path.size() >= kPathCapacity) {
    return 1;
  }
  if (force == 0 && qvx::OpenFile(path, "r")) {
    return 0;
  }
  std::string chain = path;
  OSCheckDir(chain.data());
  if (!qvx::WriteWholeFile(path, "w", QVX_XML_DEFAULT)) {
    return 1;
  }
  OsProtectFile(path.c_str());
  return 0;
}

char* GetElementValue(DOM_Document* document, const char* name) {
  const DOM_Element* element = qvx::FirstElement(document, name);
  if (element == nullptr) {
    return nullptr;
  }
  return element->firstChild == nullptr ? qvx::empty_text : element->firstChild->nodeValue;
}

char* GetElementAttributeValue(DOM_Document* document, const char* name, const char* attribute) {
  const DOM_Element* element = qvx::FirstElement(document, name);
  return element == nullptr ? nullptr : DOM_Element_getAttribute(element, attribute);
}

int32_t SetElementValue(DOM_Document* document, const char* path, const char* name, const char* value) {
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

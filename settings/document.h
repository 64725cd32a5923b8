// The settings document: its path, its default content, and access to single settings.
//
// A setting is an element. It is found by its name alone, anywhere in the document, and the first
// one in document order counts. Its value is its text, without any change.
#ifndef QVX_SETTINGS_DOCUMENT_H
#define QVX_SETTINGS_DOCUMENT_H

#include <cstdint>
#include <string>

#include "dom/dom.h"

/// The settings file, under the installation directory.
inline constexpr char QVX_INTERNAL_XML_NAME[] = "/conf/qvxpd.xml";

/// The default document, byte for byte: no line feed at its end.
extern const char QVX_XML_DEFAULT[];

/// Makes sure that the settings file exists. The default document is written and protected when
/// there is none, or always when `force` is not 0. Before the default is written, missing
/// directories are made and the working directory becomes the last level that existed (OSCheckDir).
/// Returns 0 when the file existed or was written. Returns 1 when it cannot be opened, or could not
/// be written whole; an old file is then as it was.
uint32_t CheckQVXXML(uint32_t force);

/// Returns the text of the first element called `name`. Returns null when there is no such element
/// or memory ran out, and a shared empty text when the element has no child. The text is the node
/// value of the first child. It belongs to the document and stays until that is destroyed or
/// SetElementValue replaces it.
char* GetElementValue(DOM_Document* document, const char* name);

/// Returns an attribute of the first element called `name`, as DOM_Element_getAttribute does: a
/// copy, which the caller releases with free(). Returns null when there is no such element.
char* GetElementAttributeValue(DOM_Document* document, const char* name, const char* attribute);

/// Replaces the text of the first element called `name` by `value` and saves the document to
/// `path`. Only the element's first child is replaced. Returns 0, or 1 on any failure.
int32_t SetElementValue(DOM_Document* document, const char* path, const char* name,
                        const char* value);

/// Returns 1 when either text is null, otherwise stricmp(a, b).
int stricmp_chk(const char* a, const char* b);

namespace qvx {

/// Returns the path of the settings file.
std::string SettingsPath();

/// As GetElementValue, but throws std::bad_alloc when memory ran out, so that a setting that could
/// not be searched for does not count as absent.
char* SettingText(DOM_Document* document, const char* name);

enum class LoadResult { kRead, kNotOpened, kNotWellFormed, kReadFailed };

/// Returns whether settings may be taken from the document after a load with this result.
inline bool IsUsable(LoadResult result) {
  return result == LoadResult::kRead || result == LoadResult::kNotOpened;
}

/// Returns whether the default may take the place of the settings file. The mode of the file
/// decides, not that of the directory. A file that may not be written in its place can still be
/// replaced.
bool MayWriteDefault();

/// Returns whether the default document could be written after a load with this result, as far as
/// that can be told without making anything.
bool ForeseeDefault(LoadResult reading);

/// Loads the settings file into an empty document. A file that cannot be opened leaves the document
/// empty, and every setting takes its rule for an absent element. A pipe, a socket, a device, a
/// directory and a link that is not followed count as not well-formed, but a directory as one of
/// which a read failed. Throws std::bad_alloc, also for a null document.
LoadResult LoadSettings(DOM_Document* document);

}  // namespace qvx

#endif

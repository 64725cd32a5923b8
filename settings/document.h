// The settings document: where it is, what it holds when nothing has been set, and access to single
// settings.
//
// A setting is an element, found by its name alone anywhere in the document; the first in document
// order counts. Its value is its text, taken as it stands.
#ifndef QVX_SETTINGS_DOCUMENT_H
#define QVX_SETTINGS_DOCUMENT_H

#include <cstdint>
#include <string>

#include "dom/dom.h"

/// The settings file, under the installation directory.
inline constexpr char QVX_INTERNAL_XML_NAME[] = "/conf/qvxpd.xml";

/// The default document, byte for byte: no line feed at its end.
extern const char QVX_XML_DEFAULT[];

/// Makes sure that the settings file exists: writes the default document, protected, when it cannot
/// be opened, or always when `force` is not 0. Missing directories on the way are made, and where
/// that had to be looked at the working directory is the last of them (OSCheckDir). Returns 0 when
/// the file was there or was written, 1 when it could not be written whole; one that was there is
/// then as it was.
uint32_t CheckQVXXML(uint32_t force);

/// Returns the text of the first element called `name`: null when there is no such element, a
/// shared constant empty text when it has no child, otherwise its first child's node value. The
/// text belongs to the document and stays until that is destroyed or SetElementValue replaces it.
char* GetElementValue(DOM_Document* document, const char* name);

/// Returns an attribute of the first element called `name`, as DOM_Element_getAttribute does (a
/// copy, released by the caller with free()); null when there is no such element.
char* GetElementAttributeValue(DOM_Document* document, const char* name, const char* attribute);

/// Replaces the text of the first element called `name` by `value` and saves the document to
/// `path`. Only the element's first child is replaced. Returns 0 on success, 1 on any failure.
int32_t SetElementValue(DOM_Document* document, const char* path, const char* name,
                        const char* value);

/// Returns 1 when either text is null, otherwise stricmp (a, b).
int stricmp_chk(const char* a, const char* b);

namespace qvx {

/// The path of the settings file.
std::string SettingsPath();

/// As GetElementValue, but throws std::bad_alloc where that gives none because memory ran out: a
/// setting that could not be looked for is not one that is absent.
char* SettingText(DOM_Document* document, const char* name);

enum class LoadResult { kRead, kNotOpened, kNotWellFormed };

/// Loads the settings file into an empty document. One that cannot be opened leaves it empty, and
/// every setting takes its rule for an absent element. What is no file at all, or a link that must
/// not be followed, counts as not well-formed. Throws std::bad_alloc, also for a null document.
LoadResult LoadSettings(DOM_Document* document);

}  // namespace qvx

#endif

// The catalogue as text for people: the listing of `onf catalogue` and docs/catalogue.md are both
// printed from the table here, so that neither can drift away from it.
#pragma once

#include "QSV_OnfCatalogue.h"

#include <string>

namespace onf_detail {

// One format character for each record item of `format`, item 0 first. An implicit key shows as
// 'I'; `b` and bar take no item and do not show.
std::string ItemCharsOfFormat(const std::string& format);

// The word for a format character ("integer", "real", "vector", ...); "untyped" for one that
// holds no value.
const char* ItemTypeWord(char formatChar);

// The names of the file kinds in `flags`, joined by ", "; "none" for no kind.
std::string FileKindsText(uint32_t flags);

// Appends the plain-text listing of a catalogued block: a title line, then one line a record
// item with its number, type, id space and name. Fails as GetOnfInfo for an unknown block.
void AppendBlockListing(QSV_OnfId block, std::string& out);

// The whole catalogue as the Markdown text of docs/catalogue.md.
std::string CatalogueMarkdown();

} // namespace onf_detail

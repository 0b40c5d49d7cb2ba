// Case folding for names and search text, the same for every caller: ASCII text is
// lowered byte by byte, anything else through ICU's root-locale lower-casing, so
// "Ärger" and "ÄRGER" meet while Turkish and Lithuanian special rules stay out.
#pragma once

#include <string>
#include <string_view>

namespace qm {

std::string lowercased(std::string_view text);

}  // namespace qm

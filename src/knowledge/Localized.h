// User-visible sentences are written as localizable source strings with printf-style
// placeholders ("%@" for text, "%lld" for whole numbers, or their positional forms
// "%1$@", "%2$lld"), so a translation may reorder the values. `fill` puts the
// already formatted values in place.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace qm {

// Replaces each placeholder by its value: sequential ones take the values in turn,
// positional ones (1-based) take the value they name. "%%" is a literal percent sign.
// A placeholder without a value is left out; text that is not a placeholder stays.
std::string fill(std::string_view format, std::initializer_list<std::string_view> values);

}  // namespace qm

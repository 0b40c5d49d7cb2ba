// One CSV field as spreadsheets read it (RFC 4180): quoted when it holds a comma, a
// quote or a line break, with quotes doubled; bytes that are not UTF-8 become U+FFFD
// so a stored process name never makes an export unreadable.
#pragma once

#include <string>
#include <string_view>

namespace qm {

std::string csvField(std::string_view text);

}  // namespace qm

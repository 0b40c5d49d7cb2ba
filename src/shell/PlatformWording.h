// The English texts are written for a Mac ("Your Mac is running hot."). On Linux the
// same sentences are shown with the machine called what it is: "your computer",
// "the system". Applied where sentences are shown to the user; stored history keeps
// the source texts.
#pragma once

#include <string>

namespace qm {

// Rewrites the whole words "Mac" and "macOS" ("MacBook" and "iMac" are left alone).
std::string linuxWording(const std::string& text);

// linuxWording on Linux; the text unchanged on a Mac.
std::string forThisPlatform(const std::string& text);

}  // namespace qm

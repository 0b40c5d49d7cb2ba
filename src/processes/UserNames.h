// Login names for the user ids processes run under, looked up once per id: the apps
// table's User column and anything else that names a process's owner.
#pragma once

#include <cstdint>
#include <string>

namespace qm {

// The login name of `uid`, or the number itself when the system knows no such user
// (a container's ids, a deleted account). Safe to call from any thread.
std::string userName(uint32_t uid);

}  // namespace qm

// Linux answers "who made this program" with the package it came from.
#include <mutex>

#include "core/Paths.h"
#include "processes/SignatureCache.h"
#include "processes/linux/PackageDatabase.h"

namespace qm {

SignatureInfo evaluateSignature(const std::string& path) {
    static std::mutex lock;
    static PackageDatabase database(systemRoot());
    std::lock_guard<std::mutex> guard(lock);
    return database.classify(path);
}

}  // namespace qm

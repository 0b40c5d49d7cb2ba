// This machine's process sources (defined in linux/ or darwin/).
#pragma once

#include <memory>

#include "core/Platform.h"

namespace qm {

std::unique_ptr<ProcessListSource> makeProcessListSource();
std::unique_ptr<SelfSource> makeSelfSource();

}  // namespace qm

// Several GPU sources read as one: every device each of them found, and the busiest.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "core/Platform.h"

namespace qm {

class GPUSourceList : public GPUSource {
public:
    explicit GPUSourceList(std::vector<std::unique_ptr<GPUSource>> sources) : sources_(std::move(sources)) {}
    std::optional<double> read() override;
    std::vector<GPUDevice> devices() const override { return devices_; }

private:
    std::vector<std::unique_ptr<GPUSource>> sources_;
    std::vector<GPUDevice> devices_;
};

}  // namespace qm

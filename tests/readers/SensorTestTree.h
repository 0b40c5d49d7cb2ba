// A writable copy of a fixture tree in a fresh temporary folder, for tests that make
// files vanish, break or change between reads.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>

#include <unistd.h>

namespace qm::testing {

class SensorTestTree {
public:
    // An empty tree, or a copy of tests/fixtures/sensors/<fixture>.
    explicit SensorTestTree(const std::string& fixture = "") {
        namespace fs = std::filesystem;
        std::string pattern = (fs::temp_directory_path() / "qm-sensors-XXXXXX").string();
        root_ = ::mkdtemp(pattern.data()) ? pattern : std::string();
        if (!fixture.empty())
            fs::copy(std::string(QM_FIXTURES) + "/sensors/" + fixture, root_, fs::copy_options::recursive);
    }
    ~SensorTestTree() {
        std::error_code ignored;
        std::filesystem::remove_all(root_, ignored);
    }
    SensorTestTree(const SensorTestTree&) = delete;
    SensorTestTree& operator=(const SensorTestTree&) = delete;

    const std::string& root() const { return root_; }

    void write(const std::string& relative, const std::string& text) const {
        auto path = std::filesystem::path(root_) / relative;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path) << text << "\n";
    }
    void remove(const std::string& relative) const {
        std::error_code ignored;
        std::filesystem::remove_all(std::filesystem::path(root_) / relative, ignored);
    }
    // A directory where a file was: opening works, reading fails (as EIO would).
    void makeUnreadable(const std::string& relative) const {
        remove(relative);
        std::filesystem::create_directories(std::filesystem::path(root_) / relative);
    }

private:
    std::string root_;
};

inline std::string fixtureRoot(const std::string& name) { return std::string(QM_FIXTURES) + "/sensors/" + name; }

}  // namespace qm::testing

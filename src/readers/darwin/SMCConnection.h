// The connection to the System Management Controller ("AppleSMC"), used for the fans.
// macOS only; no administrator rights needed for reading.
#pragma once

#include <IOKit/IOKitLib.h>

#include <optional>
#include <string>

namespace qm {

class SMCConnection {
public:
    SMCConnection();  // opens the service; stays closed (every read gives nothing) on failure
    ~SMCConnection();
    SMCConnection(const SMCConnection&) = delete;
    SMCConnection& operator=(const SMCConnection&) = delete;

    bool isOpen() const { return connection_ != 0; }
    // One key's value decoded by its data type; absent for a failed call or an
    // unsupported type.
    std::optional<double> read(const std::string& key);

private:
    io_connect_t connection_ = 0;
};

}  // namespace qm

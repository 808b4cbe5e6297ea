#pragma once
// The real programs of one run: parameter block, simulator and adapter.

#include "model.h"
#include "program.h"

#include <filesystem>
#include <memory>

namespace soak {

/// What a process holds, in kilobytes, and how many descriptors.
struct Holdings {
    long resident = 0, anonymous = 0, descriptors = 0;
};

class Programs {
public:
    /// Starts the simulator with time standing still; the adapter is started by startAdapter(). All of it is at home
    /// in `folder`, which is made. Throws std::runtime_error.
    Programs(std::filesystem::path binaries, std::filesystem::path folder, const Chassis& chassis, bool traced);

    void startAdapter();
    bool adapterRuns() { return adapter_->running(); }
    /// What the adapter, or the simulator, holds now.
    Holdings adapterHoldings() const;
    Holdings simulatorHoldings() const;

    const std::filesystem::path& folder() const { return folder_; }
    std::filesystem::path log(unsigned number) const;
    std::string controlSocket() const { return folder_ / "control"; }

private:
    void createParameters(const Chassis& chassis, bool traced);

    std::filesystem::path binaries_;
    std::filesystem::path folder_;
    std::unique_ptr<testsupport::Process> simulator_;
    std::unique_ptr<testsupport::Process> adapter_;
};

} // namespace soak

#include "processes.h"

#include <chrono>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace soak {
namespace {

using namespace std::chrono_literals;

// Nobody else is in this IPC namespace.
constexpr const char* kKey = "0x45534150";

long field(const std::string& status, const std::string& name) {
    const std::size_t at = status.find(name + ":");
    if (at == std::string::npos) {
        throw std::runtime_error("the kernel does not tell " + name);
    }
    return std::stol(status.substr(at + name.size() + 1));
}

Holdings holdingsOf(const testsupport::Process& process) {
    const std::filesystem::path self = "/proc/" + std::to_string(process.pid());
    std::ifstream file(self / "status");
    const std::string status{std::istreambuf_iterator<char>(file), {}};
    const auto descriptors = std::distance(std::filesystem::directory_iterator(self / "fd"), {});
    return {field(status, "VmRSS"), field(status, "RssAnon"), static_cast<long>(descriptors)};
}

} // namespace

Programs::Programs(std::filesystem::path binaries, std::filesystem::path folder, const Chassis& chassis, bool traced)
    : binaries_(std::move(binaries)), folder_(std::move(folder)) {
    std::filesystem::create_directories(folder_ / "log");
    createParameters(chassis, traced);
    simulator_ = std::make_unique<testsupport::Process>(std::vector<std::string>{
        binaries_ / "encsim", "--quiet", "--frozen", "--chassis", chassis.name, "--control", controlSocket()});
    if (!simulator_->waitForOut("ready", 20s)) {
        throw std::runtime_error("the simulator does not start: " + simulator_->err());
    }
}

void Programs::createParameters(const Chassis& chassis, bool traced) {
    const std::string tool = binaries_ / "mpuparams";
    const std::string configuration = folder_ / "mpu.conf";
    std::ofstream(configuration) << "Version = 15\n"
                                 << (traced ? "CmapTracingEnabled\n" : "") << "ChassisType = Quadra\n"
                                 << "MmsgDirectory = " << folder_.string() << "\n"
                                 << "LogDirectory = " << (folder_ / "log").string() << "\n";
    // The text names fewer chassis than there are, and nobody is here to complete the run-control sequence.
    const std::vector<std::vector<std::string>> commands = {
        {tool, "create", "--key", kKey, "--config", configuration},
        {tool, "set", "--key", kKey, "chassisType=" + std::to_string(chassis.type), "flags+=RcpComplete"}};
    for (const auto& command : commands) {
        const testsupport::RunResult result = testsupport::run(command);
        if (result.ending.exitCode != 0) {
            throw std::runtime_error("no parameter block: " + result.err);
        }
    }
}

void Programs::startAdapter() {
    adapter_ = std::make_unique<testsupport::Process>(std::vector<std::string>{binaries_ / "esa", kKey});
}

Holdings Programs::adapterHoldings() const {
    return holdingsOf(*adapter_);
}

Holdings Programs::simulatorHoldings() const {
    return holdingsOf(*simulator_);
}

std::filesystem::path Programs::log(unsigned number) const {
    char name[32];
    std::snprintf(name, sizeof name, "esa_%02u.log", number);
    return folder_ / "log" / name;
}

} // namespace soak

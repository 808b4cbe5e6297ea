#include "processes.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

Place_t place;

namespace {

constexpr const char* CHASSIS = "vsc055";

void call(const std::vector<std::string>& words) {
    int status = 0;
    waitpid(spawn(words), &status, 0);
    if (status != 0) {
        throw std::runtime_error(words[0] + " " + words[1] + " failed");
    }
}

} // namespace

void fail(const std::string& what) {
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

pid_t spawn(const std::vector<std::string>& words,
            const std::vector<std::pair<std::string, std::string>>& environment) {
    const pid_t pid = fork();
    if (pid != 0) {
        return pid;
    }
    for (const auto& [name, value] : environment) {
        setenv(name.c_str(), value.c_str(), 1);
    }
    const int null = open("/dev/null", O_RDWR);
    dup2(null, STDOUT_FILENO);
    std::vector<char*> argv;
    for (const std::string& word : words) {
        argv.push_back(const_cast<char*>(word.c_str()));
    }
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(127);
}

void stop(pid_t pid) {
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
}

long procNumber(pid_t pid, const char* file, const std::string& name) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/" + file);
    for (std::string line; std::getline(in, line);) {
        if (line.rfind(name, 0) == 0) {
            return std::atol(line.c_str() + name.size());
        }
    }
    return -1;
}

long processorTicks(pid_t pid) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
    std::stringstream text;
    text << in.rdbuf();
    std::istringstream fields(text.str().substr(text.str().rfind(')') + 2));
    std::vector<long> numbers;
    std::string word;
    while (fields >> word) {
        numbers.push_back(std::atol(word.c_str()));
    }
    return numbers[11] + numbers[12];
}

Adapter_t::Adapter_t(bool tracing, Counters_t* shared) : counters(shared), key_(std::to_string(0x46000000 + getpid())) {
    const std::string config = place.folder + "/mpu.conf";
    std::ofstream(config) << "Version = 15\nMmsgDirectory = " << place.folder << "\nLogDirectory = " << place.folder
                          << "\n";
    std::vector<std::string> create = {place.programs + "/mpuparams",
                                       "create",
                                       "--key",
                                       key_,
                                       "--config",
                                       config,
                                       std::string("chassisType=") + CHASSIS,
                                       "flags+=RcpComplete"};
    if (tracing) {
        create.push_back("flags+=CmapTracingEnabled");
    }
    call(create);
}

Adapter_t::~Adapter_t() {
    stop(pid);
    call({place.programs + "/mpuparams", "delete", "--key", key_});
}

void Adapter_t::start(std::vector<std::string> under) {
    under.insert(under.end(), {place.programs + "/esa", key_});
    pid = spawn(under, {{"LD_LIBRARY_PATH", place.instant}, {"ESA_BENCH_COUNTERS", place.folder + "/counters"}});
}

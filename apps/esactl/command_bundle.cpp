/** bundle: everything that belongs into a trouble report, in one file. */
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sys/utsname.h>
#include <sys/wait.h>

#include "commands.h"
#include "enclosure.h"
#include "errors.h"
#include "monitor_client.h"
#include "output.h"
#include "render_json.h"
#include "session.h"
#include "tar.h"

namespace {

/** Of each log the last part: that is where the trouble is. */
constexpr std::streamoff LONGEST_LOG = std::streamoff{4} * 1024 * 1024;
constexpr double MONITOR_SECONDS = 30;

constexpr int NOT_FOUND = 127; /**< status of the shell that has no such command */

/**
 * What the command prints. Throws with its first words where there is no such command and, unless `anyStatus`, where it
 * fails: what it then prints is no answer.
 */
std::string outputOf(const std::string& command, bool anyStatus = false) {
    std::string text;
    std::FILE* const pipe = popen((command + " 2>&1").c_str(), "re");
    if (pipe == nullptr) {
        throw outputError("cannot run " + command);
    }
    char bytes[4096];
    for (std::size_t count = 0; (count = std::fread(bytes, 1, sizeof bytes, pipe)) > 0;) {
        text.append(bytes, count);
    }
    const int status = pclose(pipe);
    if (status != 0 && (!anyStatus || (WIFEXITED(status) && WEXITSTATUS(status) == NOT_FOUND))) {
        const std::string words = text.substr(0, text.find('\n'));
        throw outputError(words.empty() ? command + " has failed" : words);
    }
    return text;
}

std::string versions() {
    utsname system{};
    (void)uname(&system);
    std::string packages;
    try {
        packages = outputOf("dpkg-query -W 'esa*'");
    } catch (const ToolError_t& error) {
        packages = std::string("no packages: ") + error.what() + "\n";
    }
    return std::string("esactl ") + ESACTL_VERSION + "\n" + system.sysname + " " + system.release + " " +
           system.machine + "\n" + packages;
}

std::string tailOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    if (!file) {
        throw outputError("cannot read " + path.string() + ": " + std::strerror(errno));
    }
    const std::streamoff size = file.tellg();
    file.seekg(std::max<std::streamoff>(0, size - LONGEST_LOG));
    std::string text(static_cast<std::size_t>(std::min(size, LONGEST_LOG)), '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(file.gcount()));
    return text;
}

std::string fromMonitor(const Options_t& options, const std::string& path) {
    const std::optional<MonitorReply_t> reply = askMonitor(options.monitor, path, MONITOR_SECONDS);
    if (!reply) {
        throw noAnswerError("no monitor listens at " + options.monitor);
    }
    return reply->body;
}

/** The parts, and what could not be had. */
class Bundle_t {
public:
    void add(const std::string& name, const std::function<std::string()>& make) {
        try {
            tarAppend(archive_, "esa-bundle/" + name, make(), std::time(nullptr));
        } catch (const std::exception& error) {
            missing_ += name + ": " + error.what() + "\n";
        }
    }
    std::string finish() {
        if (!missing_.empty()) {
            tarAppend(archive_, "esa-bundle/missing.txt", missing_, std::time(nullptr));
        }
        tarFinish(archive_);
        return std::move(archive_);
    }
    const std::string& missing() const { return missing_; }

private:
    std::string archive_;
    std::string missing_;
};

void addLogs(Bundle_t& bundle, const std::string& directory) {
    std::error_code error;
    std::vector<std::filesystem::path> logs;
    for (const auto& entry : std::filesystem::directory_iterator(directory, error)) {
        const std::string name = entry.path().filename().string();
        const bool isLog = name.starts_with("altevents.jsonl") || name.find("esa_") != std::string::npos;
        if (isLog && name.size() < 64 && entry.is_regular_file(error) && !entry.is_symlink(error)) {
            logs.push_back(entry.path());
        }
    }
    if (error || logs.empty()) {
        bundle.add("log", [&]() -> std::string {
            throw outputError("no logs in " + directory + (error ? ": " + error.message() : "") +
                              "; name the directory with --log-directory");
        });
    }
    std::ranges::sort(logs);
    for (const std::filesystem::path& log : logs) {
        bundle.add("log/" + log.filename().string(), [&] { return tailOf(log); });
    }
}

} // namespace

int bundleCommand(const Options_t& options) {
    Bundle_t bundle;
    bundle.add("versions.txt", versions);
    bundle.add("status.json", [&] {
        SesClient_t client = connectAdapter(options);
        const Enclosure_t enclosure = askEnclosure(client, options);
        return statusJson(enclosure, judgedHealth(enclosure, options), timeText()).text(2) + "\n" +
               configurationJson(enclosure.configuration).text(2) + "\n";
    });
    bundle.add("monitor-status.json", [&] { return fromMonitor(options, "/api/v1/status"); });
    bundle.add("events.json", [&] { return fromMonitor(options, "/api/v1/events?limit=10000"); });
    bundle.add("readings.json", [&] { return fromMonitor(options, "/api/v1/readings?since=1d"); });
    bundle.add("metrics.txt", [&] { return fromMonitor(options, "/metrics"); });
    bundle.add("units.txt",
               [] { return outputOf("systemctl status --no-pager --full esa msm esa-params esamon", true); });
    bundle.add("journal.txt",
               [] { return outputOf("journalctl --no-pager -n 2000 -u esa -u msm -u esa-params -u esamon"); });
    bundle.add("parameters.json",
               [&] { return outputOf("mpuparams show --json --key " + std::to_string(options.key)); });
    addLogs(bundle, options.logDirectory);
    const std::string missing = bundle.missing();
    std::string now = timeText();
    std::erase(now, ':'); // which would name another machine to tar
    const std::string path = options.output.empty() ? "esa-bundle-" + now + ".tar" : options.output;
    deliverText(path, bundle.finish());
    if (options.json()) {
        Json_t document = newDocument("esactl.bundle");
        document.set("file", path);
        document.set("missing", missing);
        printJson(document);
    } else {
        printText("wrote " + path + "\n" + (missing.empty() ? "" : "without:\n" + missing));
    }
    return 0;
}

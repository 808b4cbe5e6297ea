#include "commands.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>

#include "edit.h"
#include "errors.h"
#include "fields.h"
#include "json.h"
#include "judge.h"
#include "segment.h"
#include "source.h"
#include "values.h"

namespace {

constexpr int JSON_FORMAT_VERSION = 1;

/* ------------------------------------------------------------------------------------------------- create */

/** What is wrong with a text file that does not give the version, with the line that it may have been meant in. */
ToolError_t versionFailure(const std::string& source, U32_t version, const std::vector<Finding_t>& findings) {
    std::string message =
        source + " gives version " + std::to_string(version) +
        ", which every process refuses: expected a line \"Version = " + std::to_string(MPU_K_PARAMS_VERSION) + "\"";
    if (!findings.empty()) {
        message += "; the first complaint: " + describeFinding(source, findings.front());
    }
    return failure(message);
}

/** The lines of the text file that are misread or left out; none in an image. */
std::vector<Finding_t> findingsIn(const std::string& config) {
    if (config.empty()) {
        return {};
    }
    std::ifstream input = openInput(config);
    return judgeLines(input).findings;
}

void report(const std::string& file, const std::vector<Finding_t>& findings) {
    for (const Finding_t& finding : findings) {
        (void)reportError("mpuparams", 0, describeFinding(file, finding));
    }
}

/** The block that the file and the assignments make. */
MPU_PARAMS_t editedBlock(const std::string& source, std::span<const Edit_t> edits) {
    MPU_PARAMS_t params = tryOut(source);
    applyEdits(edits, reinterpret_cast<U8_t*>(&params));
    return params;
}

/* --------------------------------------------------------------------------------------------------- show */

Json_t jsonFlags(U32_t flags) {
    Json_t names = Json_t::array();
    for (const Named_t& flag : flagNames()) {
        if ((flags & flag.value) != 0) {
            names.add(flag.name);
        }
    }
    return Json_t::object({{"value", flags}, {"names", names}});
}

Json_t jsonValue(const Field_t& field, const U8_t* at) {
    switch (field.kind) {
    case Kind_e::INTEGER:
    case Kind_e::SIZE:
        return loadInteger(at, field.size);
    case Kind_e::FLAGS:
        return jsonFlags(loadInteger(at, field.size));
    case Kind_e::NAME: {
        const Named_t* const named = findValue(field.names, *at);
        return Json_t::object({{"value", *at}, {"name", named == nullptr ? Json_t() : Json_t(named->name)}});
    }
    default:
        return formatValue(field, at);
    }
}

Json_t jsonField(const Field_t& field, const U8_t* block) {
    if (field.count == 1) {
        return jsonValue(field, block + field.offset);
    }
    Json_t elements = Json_t::array();
    for (std::size_t i = 0; i < field.count; ++i) {
        elements.add(jsonValue(field, block + field.offset + i * field.size));
    }
    return elements;
}

/** A copy of the block, so that what is shown is of one moment. */
MPU_PARAMS_t readBlock(int key) {
    return AttachedBlock_t(key, AttachedBlock_t::Access_e::READ).params();
}

/* -------------------------------------------------------------------------------------------------- image */

/** The file that `path` leads to, which need not exist. What is no regular file must not be replaced by one. */
std::string regularFile(const std::string& path) {
    struct stat status = {};
    if (stat(path.c_str(), &status) < 0) {
        return path; // making the file beside it tells what is wrong, if anything is
    }
    if (!S_ISREG(status.st_mode)) {
        throw failure("cannot write " + path + ": not a regular file");
    }
    std::error_code error; // none is to be expected: the file has just been seen
    const std::string target = std::filesystem::canonical(path, error).string();
    return error ? path : target;
}

/** A new file beside `path` that takes its place when it is complete, and vanishes when it is not. */
class Replacement_t {
public:
    explicit Replacement_t(const std::string& path) : path_(path), temporary_(path + ".XXXXXX") {
        descriptor_ = mkstemp(temporary_.data());
        if (descriptor_ < 0) {
            fail();
        }
    }
    ~Replacement_t() {
        if (descriptor_ >= 0) {
            (void)close(descriptor_);
            (void)unlink(temporary_.c_str());
        }
    }
    Replacement_t(const Replacement_t&) = delete;
    Replacement_t& operator=(const Replacement_t&) = delete;

    void write(const void* bytes, std::size_t size) {
        const mode_t mask = umask(0);
        (void)umask(mask);
        const ssize_t written = ::write(descriptor_, bytes, size);
        if (written >= 0 && static_cast<std::size_t>(written) < size) {
            errno = ENOSPC;
        }
        if (written != static_cast<ssize_t>(size) || fchmod(descriptor_, 0666 & ~mask) < 0 || fsync(descriptor_) < 0 ||
            std::rename(temporary_.c_str(), path_.c_str()) < 0) {
            fail();
        }
        (void)close(descriptor_);
        descriptor_ = -1;
    }

private:
    [[noreturn]] void fail() const { throw failure("cannot write " + path_ + ": " + std::strerror(errno)); }

    std::string path_;
    std::string temporary_;
    int descriptor_ = -1;
};

} // namespace

void createBlock(int key, const std::string& config, const std::string& image,
                 std::span<const std::string> assignments) {
    const std::vector<Edit_t> edits = parseEdits(assignments);
    const std::string& source = chooseSource(config, image);
    const bool older = shmget(key, 0, 0) >= 0 || errno != ENOENT;
    if (older) {
        (void)findRemovable(key);
    }
    // An older block goes only for a good one.
    const std::vector<Finding_t> findings = findingsIn(config);
    const U32_t version = tryOut(source).version;
    if (version != MPU_K_PARAMS_VERSION) {
        throw versionFailure(source, version, findings);
    }
    S32_t shmid = -1;
    MPU_PARAMS_t* block = nullptr;
    const std::string reports = reportsOf([&] { block = MPU_createMpuParams(&shmid, key); });
    if (block == nullptr) {
        throw failure("no parameter block was created with key " + describeKey(key) + ": " + onOneLine(reports));
    }
    applyEdits(edits, reinterpret_cast<U8_t*>(block));
    (void)MPU_detachMpuParams(block);
    report(source, findings);
    std::printf("created parameter block %s, segment %d%s\n", describeKey(key).c_str(), shmid,
                older ? ", in place of an older one" : "");
}

int checkFile(const std::string& file, bool lenient, std::span<const std::string> assignments) {
    const std::vector<Edit_t> edits = parseEdits(assignments);
    std::ifstream input = openInput(file);
    Judgement_t judgement = judgeLines(input);
    judgeBlock(editedBlock(chooseSource(file, ""), edits), judgement);
    report(file, judgement.findings);
    if (judgement.findings.empty()) {
        std::printf("%s: nothing is wrong\n", file.c_str());
    }
    const bool bad = lenient ? judgement.hasErrors() : !judgement.findings.empty();
    return bad ? EXIT_FINDINGS : 0;
}

void showBlock(int key) {
    const MPU_PARAMS_t params = readBlock(key);
    const auto* const bytes = reinterpret_cast<const U8_t*>(&params);
    for (const Field_t& field : allFields()) {
        for (std::size_t i = 0; i < field.count; ++i) {
            const std::string name = std::string(field.name) + (field.count == 1 ? "" : "[" + std::to_string(i) + "]");
            std::printf("%-22s %s\n", name.c_str(), formatValue(field, bytes + field.offset + i * field.size).c_str());
        }
    }
}

void showBlockJson(int key) {
    const MPU_PARAMS_t params = readBlock(key);
    Json_t fields = Json_t::object();
    for (const Field_t& field : allFields()) {
        fields.set(std::string(field.name), jsonField(field, reinterpret_cast<const U8_t*>(&params)));
    }
    const Json_t document = Json_t::object({{"version", JSON_FORMAT_VERSION}, {"key", key}, {"params", fields}});
    std::printf("%s\n", document.text(2).c_str());
}

void setFields(int key, std::span<const std::string> assignments) {
    const std::vector<Edit_t> edits = parseEdits(assignments);
    AttachedBlock_t block(key, AttachedBlock_t::Access_e::WRITE);
    applyEdits(edits, block.bytes());
}

void writeImage(int key, const std::string& path) {
    MPU_PARAMS_t params = readBlock(key);
    MPU_swapMpuParams(&params);
    Replacement_t(regularFile(path)).write(&params, sizeof(params));
}

void deleteBlock(int key) {
    if (MPU_deleteMpuParams(findRemovable(key)) < 0) {
        throw failure("cannot delete the parameter block with key " + describeKey(key) + ": " + std::strerror(errno));
    }
}

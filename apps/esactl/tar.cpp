#include "tar.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr std::size_t BLOCK = 512;

/** Header of the POSIX "ustar" format: numbers in octal. */
struct Header_t {
    char name[100];
    char mode[8];
    char user[8];
    char group[8];
    char size[12];
    char time[12];
    char checksum[8];
    char type;
    char link[100];
    char magic[6];
    char version[2];
    char rest[247];
};
static_assert(sizeof(Header_t) == BLOCK);

} // namespace

void tarAppend(std::string& archive, const std::string& name, const std::string& contents, long long time) {
    Header_t header{};
    std::snprintf(header.name, sizeof header.name, "%s", name.c_str());
    std::snprintf(header.mode, sizeof header.mode, "%07o", 0644);
    std::snprintf(header.user, sizeof header.user, "%07o", 0);
    std::snprintf(header.group, sizeof header.group, "%07o", 0);
    std::snprintf(header.size, sizeof header.size, "%011llo", static_cast<unsigned long long>(contents.size()));
    std::snprintf(header.time, sizeof header.time, "%011llo", static_cast<unsigned long long>(time));
    header.type = '0';
    std::memcpy(header.magic, "ustar", 6);
    std::memcpy(header.version, "00", 2);
    std::memset(header.checksum, ' ', sizeof header.checksum);
    const auto* const bytes = reinterpret_cast<const unsigned char*>(&header);
    unsigned sum = 0;
    for (std::size_t i = 0; i < BLOCK; ++i) {
        sum += bytes[i];
    }
    std::snprintf(header.checksum, sizeof header.checksum - 1, "%06o", sum);
    archive.append(reinterpret_cast<const char*>(&header), BLOCK);
    archive += contents;
    archive.append((BLOCK - contents.size() % BLOCK) % BLOCK, '\0');
}

void tarFinish(std::string& archive) {
    archive.append(2 * BLOCK, '\0');
}

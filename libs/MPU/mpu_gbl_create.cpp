/** Creating the shared parameter block from a text file or a binary image. */
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>

#include "mpu_gbl_private.h"
#include "nonxml.h"

namespace {

constexpr int BLOCK_SIZE = sizeof(MPU_PARAMS_t);
constexpr int BLOCK_MODE = 0600;
constexpr int PATH_LIMIT = 139; /**< characters of a path joined from PROJDIR */
constexpr CHAR_t IMAGE_NAME[] = "configMpu.bin";

/** Where the block's contents come from: the open text file, or the open image. */
struct Source_t {
    FILE* text = nullptr;
    int image = -1;
    const CHAR_t* path = nullptr;
    CHAR_t joined[PATH_LIMIT + 1] = {};
};

void closeSource(Source_t* source) {
    if (source->text != nullptr) {
        std::fclose(source->text);
    }
    if (source->image >= 0) {
        close(source->image);
    }
}

bool openText(Source_t* source) {
    source->text = std::fopen(source->path, "r");
    if (source->text == nullptr) {
        const int error = errno;
        std::fprintf(stderr, "Error: Unable to open %s.\n", source->path);
        std::fprintf(stderr, "       %s\n", std::strerror(error));
    }
    return source->text != nullptr;
}

/** Path of the image: CONFIG_FILE, or IMAGE_NAME in PROJDIR. */
bool findImage(Source_t* source) {
    source->path = std::getenv("CONFIG_FILE");
    if (source->path != nullptr) {
        return true;
    }
    const CHAR_t* const directory = std::getenv("PROJDIR");
    if (directory == nullptr) {
        std::fprintf(stderr, "The environment variable: '%s' is not defined!\n", "PROJDIR");
        return false;
    }
    if (std::snprintf(source->joined, sizeof(source->joined), "%s/%s", directory, IMAGE_NAME) > PATH_LIMIT) {
        std::fprintf(stderr, "Fully qualified path+name for the Configuration file exceeds %d characters.\n",
                     PATH_LIMIT);
        return false;
    }
    source->path = source->joined;
    return true;
}

bool openImage(Source_t* source) {
    struct stat status = {};
    if (stat(source->path, &status) < 0) {
        std::fprintf(stderr, "Unable to stat %s.\n", source->path);
        return false;
    }
    if (status.st_size != BLOCK_SIZE) {
        std::fprintf(stderr, "File size of %s does not match MPU Parameters structure size\n", source->path);
        std::fprintf(stderr, "  File size = %lld, structure size = %d\n", static_cast<long long>(status.st_size),
                     BLOCK_SIZE);
        return false;
    }
    source->image = open(source->path, O_RDONLY | O_CLOEXEC);
    if (source->image < 0) {
        std::fprintf(stderr, "Unabled to open Configuration input file: '%s'\n", source->path);
        return false;
    }
    return true;
}

bool openSource(Source_t* source) {
    source->path = std::getenv("NONXML_FILE");
    if (source->path != nullptr) {
        return openText(source);
    }
    return findImage(source) && openImage(source);
}

/** A new segment for `key`; -1 after a report. */
S32_t createSegment(int key) {
    S32_t shmid = shmget(key, BLOCK_SIZE, BLOCK_MODE | IPC_CREAT | IPC_EXCL);
    if (shmid >= 0) {
        return shmid;
    }
    if (errno != EEXIST) {
        mpuReportFailure("");
        return -1;
    }
    std::fprintf(stderr, "\nError opening the MPU shared memory area.\n");
    shmid = mpuReplaceSegment(key, BLOCK_SIZE, BLOCK_MODE);
    if (shmid < 0) {
        std::fprintf(stderr, "Shared segment already exists (key=%d (0x%08X)).\n", key, static_cast<U32_t>(key));
    } else {
        std::fprintf(stderr, "Shared segment already existed.\nIt has successfully been removed and recreated.\n\n");
    }
    return shmid;
}

bool fillFromImage(const Source_t& source, MPU_PARAMS_t* block) {
    const ssize_t length = read(source.image, block, sizeof(*block));
    if (length < 0) {
        std::fprintf(stderr, "\nUnable to read the configuration data from file: '%s'\n", source.path);
        return false;
    }
    if (length < BLOCK_SIZE) {
        std::fprintf(stderr, "%d bytes read from Configuration file '%s', %d expected.\n", static_cast<int>(length),
                     source.path, BLOCK_SIZE);
        return false;
    }
    MPU_swapMpuParams(block);
    if (block->version != MPU_K_PARAMS_VERSION) {
        std::fprintf(stderr,
                     "Configuration file '%s' contains version 0x%08X data, but version 0x%08X data is expected.\n",
                     source.path, block->version, MPU_K_PARAMS_VERSION);
        return false;
    }
    return true;
}

bool fill(const Source_t& source, MPU_PARAMS_t* block) {
    std::memset(block, 0, sizeof(*block));
    if (source.text == nullptr) {
        return fillFromImage(source, block);
    }
    readNonXML(source.text);
    return true;
}

/** Attaches and fills the new segment. On failure it is neither attached nor there any more. */
MPU_PARAMS_t* attachAndFill(const Source_t& source, S32_t* shmid) {
    auto* const block = static_cast<MPU_PARAMS_t*>(mpuAttachSegment(*shmid, 0));
    if (block == nullptr) {
        std::fprintf(stderr, "\nError mapping the MPU shared memory area to virtual memory.\n");
    } else {
        mpuParamsBlock = block;
        if (fill(source, block)) {
            return block;
        }
        mpuParamsBlock = nullptr;
        shmdt(block);
    }
    (void)MPU_deleteMpuParams(*shmid); // the reason has been reported; nothing more can be done about the segment
    *shmid = -1;
    return nullptr;
}

} // namespace

MPU_PARAMS_t* MPU_createMpuParams(S32_t* pShmid, int key) {
    Source_t source;
    if (!openSource(&source)) {
        return nullptr;
    }
    *pShmid = createSegment(key);
    MPU_PARAMS_t* const block = *pShmid < 0 ? nullptr : attachAndFill(source, pShmid);
    closeSource(&source);
    return block;
}

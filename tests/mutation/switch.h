/**
 * Put in front of every source of an instrumented tree: ESA_MUTANT in the environment chooses the one change that is
 * made; ESA_MUTANT_REACH names a file with a byte a change, set for each one that the process comes by.
 */
#ifndef ESA_MUTATION_SWITCH_H
#define ESA_MUTATION_SWITCH_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <type_traits>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

/** The chosen change; 0 for none. A shared library and the program that loads it have one each. */
[[gnu::visibility("hidden")]] inline int esaMutant;
[[gnu::visibility("hidden")]] inline unsigned char* esaReached;
[[gnu::visibility("hidden")]] inline bool esaMutantRead;

/** Before every other constructor of the program. System calls by number: tests put themselves in front of the names.
 */
[[gnu::constructor(101)]] static void esaReadMutant() {
    if (esaMutantRead) {
        return;
    }
    esaMutantRead = true;
    if (const char* number = std::getenv("ESA_MUTANT"); number != nullptr) {
        for (; *number != '\0'; ++number) {
            esaMutant = esaMutant * 10 + (*number - '0');
        }
    }
    const char* file = std::getenv("ESA_MUTANT_REACH");
    if (file == nullptr) {
        return;
    }
    const long fd = syscall(SYS_openat, AT_FDCWD, file, O_RDWR | O_CLOEXEC);
    if (fd < 0) {
        return;
    }
    const long place = syscall(SYS_mmap, nullptr, 1 << 16, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    (void)syscall(SYS_close, fd);
    if (place != -1) {
        esaReached = reinterpret_cast<unsigned char*>(place);
    }
}

inline bool esaIsMutant(int id) {
    if (__builtin_expect(esaReached != nullptr, 0)) {
        esaReached[id] = 1;
    }
    return esaMutant == id;
}

/**
 * Which statement runs at place `place`. A bit p of `pairs` says that there is a change which exchanges statements p
 * and p + 1; the changes are numbered from `first` in the order of the bits.
 */
inline int esaOrder(int first, unsigned long pairs, int place) {
    for (int pair = 0, id = first; pairs >> pair != 0; ++pair) {
        if ((pairs >> pair & 1) != 0 && esaIsMutant(id++)) {
            return place == pair ? pair + 1 : place == pair + 1 ? pair : place;
        }
    }
    return place;
}

/** Where a local that has become static is kept; of plain types only. */
template <int ID, typename T>
struct EsaPlace {
    inline static bool filled;
    alignas(T) inline static unsigned char bytes[sizeof(T)];
};

/** What a local begins with. */
template <int ID, typename T, typename Make>
T esaKept(Make make) {
    using Plain = std::remove_cv_t<T>;
    if (!esaIsMutant(ID) || !EsaPlace<ID, Plain>::filled) {
        return make();
    }
    Plain value;
    std::memcpy(&value, EsaPlace<ID, Plain>::bytes, sizeof value);
    return value;
}

/** Gives a local what it had when its scope was left for the last time. */
template <int ID, typename T>
struct EsaKeeper {
    using Plain = std::remove_cv_t<T>;
    T& kept;

    explicit EsaKeeper(T& local) : kept(local) {
        if constexpr (!std::is_const_v<std::remove_all_extents_t<T>>) {
            if (esaIsMutant(ID) && EsaPlace<ID, Plain>::filled) {
                std::memcpy(&local, EsaPlace<ID, Plain>::bytes, sizeof local);
            }
        }
    }
    ~EsaKeeper() {
        if (esaMutant == ID) {
            std::memcpy(EsaPlace<ID, Plain>::bytes, &kept, sizeof kept);
            EsaPlace<ID, Plain>::filled = true;
        }
    }
};

/** In constexpr functions: what is computed at compile time is computed unchanged. */
constexpr bool esaIsMutantAtRunTime(int id) {
    return !__builtin_is_constant_evaluated() && esaIsMutant(id);
}

#define ESA_M(id) esaIsMutant(id)
#define ESA_MC(id) esaIsMutantAtRunTime(id)

#endif

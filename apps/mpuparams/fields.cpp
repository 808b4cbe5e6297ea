#include "fields.h"

#include <algorithm>
#include <cctype>
#include <vector>

#include "tool_error.h"

namespace {

// The text file knows the first three; all six can be given to a live block.
constexpr Named_t CHASSIS[] = {
    {"None", VORAN_E_CHASSIS_NONE},           {"Xyratex2U12ATX", VORAN_E_CHASSIS_XYRATEX_2U12ATX},
    {"Quadra", VORAN_E_CHASSIS_TELMA_QUADRA}, {"Chenbro3U16ATX", VORAN_E_CHASSIS_CHENBRO_3U16ATX},
    {"Vsc055", VORAN_E_CHASSIS_VORAN_VSC055}, {"W83782d", VORAN_E_CHASSIS_VORAN_W83782D},
};

/** A table of the text file without the nameless entry at its end. */
template <std::size_t N>
constexpr std::span<const Named_t> namesOf(const Named_t (&table)[N]) {
    return std::span<const Named_t>(table).first(N - 1);
}

#define AT(field) offsetof(MPU_PARAMS_t, field)
constexpr Field_t FIELDS[] = {
    {"version", Kind::Integer, AT(version), 4, 1},
    {"flags", Kind::Flags, AT(flags), 4, 1},
    {"slotId", Kind::Integer, AT(slotId), 4, 1},
    {"bladeType", Kind::Integer, AT(bladeType), 1, 1},
    {"disklineMode", Kind::Integer, AT(disklineMode), 1, 1},
    {"iCharMode", Kind::Name, AT(iCharMode), 1, 1, namesOf(iCharMode)},
    {"numPorts", Kind::Integer, AT(numPorts), 1, 1},
    {"regBlockOffset", Kind::Wide, AT(regBlockOffset), 8, 1},
    {"regBlockSize", Kind::Wide, AT(regBlockSize), 8, 1},
    {"otherPresentOffset", Kind::Integer, AT(otherPresentOffset), 2, 1},
    {"otherPresentBlock", Kind::Integer, AT(otherPresentBlock), 1, 1},
    {"otherPresentBit", Kind::Integer, AT(otherPresentBit), 1, 1},
    {"resetOtherOffset", Kind::Integer, AT(resetOtherOffset), 2, 1},
    {"resetOtherBlock", Kind::Integer, AT(resetOtherBlock), 1, 1},
    {"resetOtherBit", Kind::Integer, AT(resetOtherBit), 1, 1},
    {"issIpAddress", Kind::Ip, AT(issIpAddress), 4, 1},
    {"numBusses", Kind::Integer, AT(numBusses), 1, 1},
    {"numAdapters", Kind::Integer, AT(numAdapters), 1, 1},
    {"batteryMgtPolicy", Kind::Name, AT(batteryMgtPolicy), 1, 1, nonXML_Tables.batteryPolicy},
    {"_pad1", Kind::Integer, AT(_pad1), 1, 1},
    {"mpuVer", Kind::Version, AT(mpuVer), 8, 1},
    {"q4xVer", Kind::Version, AT(q4xVer), 8, 1},
    {"asicDeviceId", Kind::Integer, AT(asicDeviceId), 2, 1},
    {"pciVendorId", Kind::Integer, AT(pciVendorId), 2, 1},
    {"asicRevision", Kind::Integer, AT(asicRevision), 2, 1},
    {"haccMode", Kind::Name, AT(haccMode), 1, 1, namesOf(haccMode)},
    {"chassisType", Kind::Name, AT(chassisType), 1, 1, CHASSIS},
    {"serialNo", Kind::Integer, AT(serialNo), 4, 1},
    {"shmKey", Kind::Integer, AT(shmKey), 4, 1},
    {"ouiNo", Kind::Integer, AT(ouiNo), 4, 1},
    {"mfgProductIdStr", Kind::Blank, AT(mfgProductIdStr), 4, 1},
    {"mfgBoardRevStr", Kind::Blank, AT(mfgBoardRevStr), 4, 1},
    {"_pad2", Kind::Integer, AT(_pad2), 1, 4},
    {"smSize", Kind::Size, AT(smSize), 4, 1},
    {"bmSize", Kind::Size, AT(bmSize), 4, 1},
    {"haccStartingIpAddress", Kind::Ip, AT(haccStartingIpAddress), 4, 1},
    {"haccNetmask", Kind::Ip, AT(haccNetmask), 4, 1},
    {"mgtPortIpAddress", Kind::Ip, AT(mgtPortIpAddress), 4, 1},
    {"mgtPortNetmask", Kind::Ip, AT(mgtPortNetmask), 4, 1},
    {"serialStr", Kind::Text, AT(serialStr), 64, 1},
    {"chassisSN", Kind::Text, AT(chassisSN), 64, 1},
    {"macAddress", Kind::Mac, AT(macAddress), 8, 8},
    {"mmsgDirectory", Kind::Path, AT(mmsgDirectory), 128, 1},
    {"nvramDirectory", Kind::Path, AT(nvramDirectory), 128, 1},
    {"logDirectory", Kind::Path, AT(logDirectory), 128, 1},
    {"portConfig", Kind::Name, AT(portConfig), 1, 8, namesOf(portConfig)},
    {"vendorId", Kind::Blank, AT(vendorId), 8, 1},
    {"productId", Kind::Blank, AT(productId), 16, 1},
    {"revisionLvl", Kind::Blank, AT(revisionLvl), 4, 1},
    {"bus", Kind::Name, AT(bus), 1, 2, namesOf(trueFalse)},
    {"_pad3", Kind::Integer, AT(_pad3), 1, 2},
    {"adapters", Kind::Adapter, AT(adapters), 4, 2},
};
#undef AT

/** Whether the table covers the block without gap or overlap. */
constexpr bool coversBlock() {
    std::size_t next = 0;
    for (const Field_t& field : FIELDS) {
        if (field.offset != next) {
            return false;
        }
        next += field.size * field.count;
    }
    return next == sizeof(MPU_PARAMS_t);
}
static_assert(coversBlock());

bool sameName(std::string_view a, std::string_view b) {
    return std::ranges::equal(a, b,
                              [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

} // namespace

std::span<const Field_t> allFields() {
    return FIELDS;
}

std::span<const Named_t> flagNames() {
    static const std::vector<Named_t> flags = [] {
        // No configuration file can claim that the run-control sequence is complete.
        std::vector<Named_t> all = {{"RcpComplete", MPU_K_FLAG_RCP_COMPLETE}};
        for (const NonXML_Flag_t* flag = nonXML_Flags; flag->name != nullptr; ++flag) {
            all.push_back({flag->name, flag->mask});
        }
        std::ranges::sort(all, {}, &Named_t::value);
        return all;
    }();
    return flags;
}

const Field_t& findField(std::string_view name) {
    const auto* const found = std::ranges::find_if(FIELDS, [&](const Field_t& f) { return sameName(f.name, name); });
    if (found != std::end(FIELDS)) {
        return *found;
    }
    std::string known;
    for (const Field_t& field : FIELDS) {
        known += (known.empty() ? "" : ", ") + std::string(field.name);
    }
    throw usageError("unknown field \"" + std::string(name) + "\"; the fields are " + known);
}

const Named_t* findName(std::span<const Named_t> names, std::string_view name) {
    const auto found = std::ranges::find_if(names, [&](const Named_t& n) { return sameName(n.name, name); });
    return found == names.end() ? nullptr : &*found;
}

const Named_t* findValue(std::span<const Named_t> names, U32_t value) {
    const auto found = std::ranges::find_if(names, [&](const Named_t& n) { return n.value == value; });
    return found == names.end() ? nullptr : &*found;
}

std::string listNames(std::span<const Named_t> names) {
    std::string list;
    for (std::size_t i = 0; i < names.size(); ++i) {
        list += i == 0 ? "" : i + 1 == names.size() ? " or " : ", ";
        list += names[i].name;
    }
    return list;
}

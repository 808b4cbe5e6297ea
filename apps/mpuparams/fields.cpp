#include "fields.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <vector>

#include "chassis_list.h"
#include "errors.h"

namespace {

consteval std::array<Named_t, CHASSIS_LIST.size()> namesOfChassis() {
    std::array<Named_t, CHASSIS_LIST.size()> names{};
    for (std::size_t i = 0; i < names.size(); ++i) {
        names[i] = {CHASSIS_LIST[i].name, CHASSIS_LIST[i].type};
    }
    return names;
}

/** All chassis can be given to a live block, by the names that every tool uses; its text file knows the first three. */
constexpr auto CHASSIS = namesOfChassis();

/** A table of the text file without the nameless entry at its end. */
template <std::size_t N>
constexpr std::span<const Named_t> namesOf(const Named_t (&table)[N]) {
    return std::span<const Named_t>(table).first(N - 1);
}

#define AT(field) offsetof(MPU_PARAMS_t, field)
constexpr Field_t FIELDS[] = {
    {"version", Kind_e::INTEGER, AT(version), 4, 1},
    {"flags", Kind_e::FLAGS, AT(flags), 4, 1},
    {"slotId", Kind_e::INTEGER, AT(slotId), 4, 1},
    {"bladeType", Kind_e::INTEGER, AT(bladeType), 1, 1},
    {"disklineMode", Kind_e::INTEGER, AT(disklineMode), 1, 1},
    {"iCharMode", Kind_e::NAME, AT(iCharMode), 1, 1, namesOf(iCharMode)},
    {"numPorts", Kind_e::INTEGER, AT(numPorts), 1, 1},
    {"regBlockOffset", Kind_e::WIDE, AT(regBlockOffset), 8, 1},
    {"regBlockSize", Kind_e::WIDE, AT(regBlockSize), 8, 1},
    {"otherPresentOffset", Kind_e::INTEGER, AT(otherPresentOffset), 2, 1},
    {"otherPresentBlock", Kind_e::INTEGER, AT(otherPresentBlock), 1, 1},
    {"otherPresentBit", Kind_e::INTEGER, AT(otherPresentBit), 1, 1},
    {"resetOtherOffset", Kind_e::INTEGER, AT(resetOtherOffset), 2, 1},
    {"resetOtherBlock", Kind_e::INTEGER, AT(resetOtherBlock), 1, 1},
    {"resetOtherBit", Kind_e::INTEGER, AT(resetOtherBit), 1, 1},
    {"issIpAddress", Kind_e::IP, AT(issIpAddress), 4, 1},
    {"numBusses", Kind_e::INTEGER, AT(numBusses), 1, 1},
    {"numAdapters", Kind_e::INTEGER, AT(numAdapters), 1, 1},
    {"batteryMgtPolicy", Kind_e::NAME, AT(batteryMgtPolicy), 1, 1, nonXML_Tables.batteryPolicy},
    {"_pad1", Kind_e::INTEGER, AT(_pad1), 1, 1},
    {"mpuVer", Kind_e::VERSION, AT(mpuVer), 8, 1},
    {"q4xVer", Kind_e::VERSION, AT(q4xVer), 8, 1},
    {"asicDeviceId", Kind_e::INTEGER, AT(asicDeviceId), 2, 1},
    {"pciVendorId", Kind_e::INTEGER, AT(pciVendorId), 2, 1},
    {"asicRevision", Kind_e::INTEGER, AT(asicRevision), 2, 1},
    {"haccMode", Kind_e::NAME, AT(haccMode), 1, 1, namesOf(haccMode)},
    {"chassisType", Kind_e::NAME, AT(chassisType), 1, 1, CHASSIS},
    {"serialNo", Kind_e::INTEGER, AT(serialNo), 4, 1},
    {"shmKey", Kind_e::INTEGER, AT(shmKey), 4, 1},
    {"ouiNo", Kind_e::INTEGER, AT(ouiNo), 4, 1},
    {"mfgProductIdStr", Kind_e::BLANK, AT(mfgProductIdStr), 4, 1},
    {"mfgBoardRevStr", Kind_e::BLANK, AT(mfgBoardRevStr), 4, 1},
    {"_pad2", Kind_e::INTEGER, AT(_pad2), 1, 4},
    {"smSize", Kind_e::SIZE, AT(smSize), 4, 1},
    {"bmSize", Kind_e::SIZE, AT(bmSize), 4, 1},
    {"haccStartingIpAddress", Kind_e::IP, AT(haccStartingIpAddress), 4, 1},
    {"haccNetmask", Kind_e::IP, AT(haccNetmask), 4, 1},
    {"mgtPortIpAddress", Kind_e::IP, AT(mgtPortIpAddress), 4, 1},
    {"mgtPortNetmask", Kind_e::IP, AT(mgtPortNetmask), 4, 1},
    {"serialStr", Kind_e::TEXT, AT(serialStr), 64, 1},
    {"chassisSN", Kind_e::TEXT, AT(chassisSN), 64, 1},
    {"macAddress", Kind_e::MAC, AT(macAddress), 8, 8},
    {"mmsgDirectory", Kind_e::PATH, AT(mmsgDirectory), 128, 1},
    {"nvramDirectory", Kind_e::PATH, AT(nvramDirectory), 128, 1},
    {"logDirectory", Kind_e::PATH, AT(logDirectory), 128, 1},
    {"portConfig", Kind_e::NAME, AT(portConfig), 1, 8, namesOf(portConfig)},
    {"vendorId", Kind_e::BLANK, AT(vendorId), 8, 1},
    {"productId", Kind_e::BLANK, AT(productId), 16, 1},
    {"revisionLvl", Kind_e::BLANK, AT(revisionLvl), 4, 1},
    {"bus", Kind_e::NAME, AT(bus), 1, 2, namesOf(trueFalse)},
    {"_pad3", Kind_e::INTEGER, AT(_pad3), 1, 2},
    {"adapters", Kind_e::ADAPTER, AT(adapters), 4, 2},
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

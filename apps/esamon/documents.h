/** The documents of the HTTP interface. */
#pragma once

#include "json.h"
#include "options.h"
#include "present.h"
#include "store.h"

/** The present state with what is known of the watch itself. Only while there is an enclosure. */
[[nodiscard]] std::string presentStatusText(const Present_t& present, const MonitorOptions_t& options);
[[nodiscard]] std::string configText(const Present_t& present, const MonitorOptions_t& options);
[[nodiscard]] std::string aliveText(const Present_t& present, const MonitorOptions_t& options);
/** As it was then. */
[[nodiscard]] std::string snapshotText(const Snapshot_t& snapshot, const Present_t& present,
                                       const MonitorOptions_t& options);
/** An entry as documents and streams show it. */
[[nodiscard]] std::string entryText(const Entry_t& entry);
[[nodiscard]] std::string entriesText(const std::vector<Entry_t>& entries, bool more);
[[nodiscard]] std::string errorText(const std::string& code, const std::string& text);

/** What readings are asked for. */
struct ReadingsQuery_t {
    std::vector<std::string> series = {}; /**< none: all of `present` */
    Millis_t since = 0;
    Millis_t until = 0;
    std::optional<Millis_t> step = {}; /**< 0: every reading; nothing: as fits */
};

/** Throws StoreError_t. */
[[nodiscard]] std::string readingsText(const Store_t& store, const Present_t& present, ReadingsQuery_t query,
                                       Millis_t now);

#include "recorder.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "changes.h"
#include "chassis_list.h"
#include "diagnosis.h"
#include "documents.h"
#include "entries.h"
#include "errors.h"
#include "events.h"
#include "render_json.h"

namespace {

constexpr Millis_t SAME_INCIDENT = 60000;
constexpr Millis_t OPEN_AGAIN = 60000;
constexpr Millis_t TIDY_INTERVAL = 60000;

/** Reports that come again with every poll for as long as their cause lasts. */
constexpr std::array<std::string_view, 2> LASTING{"information", "orderly-shutdown"};

bool isLasting(std::string_view name) {
    return std::ranges::find(LASTING, name) != LASTING.end();
}

} // namespace

Recorder_t::Recorder_t(const MonitorOptions_t& options, Hub_t& hub) : options_(options), hub_(hub) {
    present_.chassis = options.chassis;
    if (!openStore() && !openStore()) {
        throw outputError(trouble_);
    }
}

void Recorder_t::begin() {
    record({watchEntry(millisNow(), "monitor-started", "information", "the monitor has started")});
}

bool Recorder_t::openStore() {
    isOpening_ = true;
    const bool isOpen = beginStore();
    isOpening_ = false;
    return isOpen;
}

bool Recorder_t::beginStore() {
    try {
        store_ = std::make_unique<Store_t>(options_.database, std::int64_t{options_.maxMegabytes} * 1024 * 1024,
                                           aside_.empty() ? 1 : std::max(lastSequence_ + 1, millisNow() / 1000));
        recall();
        trouble_.clear();
    } catch (const StoreError_t& error) {
        giveUpStore(error);
        return false;
    }
    if (!aside_.empty()) {
        const std::string text = aside_;
        aside_.clear();
        record({watchEntry(millisNow(), "history-set-aside", "error", text)});
    }
    return store_ != nullptr;
}

/** What an earlier life of the monitor knew. */
void Recorder_t::recall() {
    run_ = store_->note("run");
    number_ = store_->note("number");
    lastSequence_ = store_->lastSequence();
    present_.counts = store_->countsByName();
    const ChassisFacts_t* const chassis = findChassis(static_cast<unsigned>(store_->note("chassis")));
    if (present_.chassis.empty() && chassis != nullptr) {
        present_.chassis = chassis->name;
    }
    for (const std::string_view name : LASTING) {
        for (Entry_t& entry : store_->entries({.name = std::string(name), .limit = 1})) {
            lasting_[std::string(name)] = {entry, wordsOf(entry.document)};
        }
    }
    if (!present_.enclosure) {
        if (std::optional<Snapshot_t> last = store_->snapshot(millisNow())) {
            present_.enclosure = diagnosed(std::move(last->enclosure), present_, options_);
            present_.answered = last->time;
        }
    }
}

void Recorder_t::giveUpStore(const StoreError_t& error) {
    store_.reset();
    trouble_ = "the history in " + options_.database + " cannot be used: " + error.what();
    nextOpen_ = millisNow() + OPEN_AGAIN;
    if (error.trouble() == StoreTrouble_e::BAD) {
        aside_ = trouble_ + "; what there was is in " + setAside(options_.database, millisNow());
    }
    std::fprintf(stderr, "esamon: %s\n", (aside_.empty() ? trouble_ : aside_).c_str());
}

/** Everything in one transaction; a history that fails is replaced by a new one, which gets the same. */
bool Recorder_t::write(const std::function<void(Store_t&)>& change) {
    const int attempts = isOpening_ ? 1 : 2;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        const bool isTooSoon = attempt == 0 && millisNow() < nextOpen_;
        if (!store_ && (isTooSoon || isOpening_ || !openStore())) {
            return false;
        }
        try {
            Transaction_t transaction(store_->database());
            change(*store_);
            transaction.commit();
            return true;
        } catch (const StoreError_t& error) {
            giveUpStore(error);
        }
    }
    return false;
}

void Recorder_t::record(std::vector<Entry_t> entries, const std::function<void(Store_t&)>& also) {
    const bool written = write([&](Store_t& store) {
        for (Entry_t& entry : entries) {
            entry.sequence = store.add(entry);
        }
        if (also) {
            also(store);
        }
    });
    if (!written) {
        return;
    }
    for (const Entry_t& entry : entries) {
        lastSequence_ = entry.sequence;
        ++present_.counts[entry.name];
        hub_.publish("event", entryText(entry), entry.sequence);
    }
}

void Recorder_t::tick() {
    const Millis_t now = millisNow();
    if (now < nextTidy_) {
        return;
    }
    nextTidy_ = now + TIDY_INTERVAL;
    if (!store_ && (now < nextOpen_ || !openStore())) {
        return;
    }
    try {
        store_->tidy(now);
    } catch (const StoreError_t& error) {
        giveUpStore(error);
    }
}

void Recorder_t::take(const Observation_t& observation) {
    std::visit([this](const auto& found) { take(found); }, observation);
}

void Recorder_t::take(const Pages_t& pages) {
    ++present_.polls;
    Decoded_t<Configuration_t> configuration = decodeConfigurationPage(pages.configuration);
    Decoded_t<EnclosureStatus_t> status;
    if (configuration.value) {
        status = decodeStatusPage(pages.status, *configuration.value);
    }
    if (!status.value) {
        take(Failure_t{pages.time, true, "the adapter's pages make no sense: " + configuration.error + status.error});
        return;
    }
    Enclosure_t enclosure = diagnosed({std::move(*configuration.value), std::move(*status.value)}, present_, options_);
    std::vector<Entry_t> entries;
    if (present_.isAnswering == false) {
        entries.push_back(present_.hasSwitch
                              ? watchEntry(pages.time, "adapter-back", "information", "the adapter answers again")
                              : watchEntry(pages.time, "switch-back", "information", "switch and adapter are back"));
    }
    const bool hadEnclosure = present_.enclosure.has_value();
    const bool isOther = hadEnclosure && (!hasSameElements(*present_.enclosure, enclosure) ||
                                          (!configurationPage_.empty() && pages.configuration != configurationPage_));
    if (isOther) {
        entries.push_back(watchEntry(pages.time, "enclosure-changed", "warning",
                                     "the adapter reports another enclosure than before"));
    }
    if (hadEnclosure) {
        std::ranges::move(isOther ? causeChange(*present_.enclosure, enclosure, pages.time)
                                  : changesBetween(*present_.enclosure, enclosure, pages.time),
                          std::back_inserter(entries));
    }
    present_.enclosure = std::move(enclosure);
    present_.answered = present_.polled = pages.time;
    present_.isAnswering = present_.hasSwitch = true;
    present_.error.clear();
    const bool isFirst = configurationPage_.empty();
    configurationPage_ = pages.configuration;
    record(std::move(entries), [&](Store_t& store) { store.addPages(pages.time, pages.configuration, pages.status); });
    if (noteChassis() || isOther || isFirst) {
        hub_.publish("config", configText(present_, options_));
    }
    hub_.publish("status", presentStatusText(present_, options_));
}

void Recorder_t::take(const Failure_t& failure) {
    ++present_.failedPolls;
    present_.polled = failure.time;
    if (!failure.hasSwitch) {
        present_.isConnected = false;
    }
    noteLoss(failure.time, failure.hasSwitch, failure.text);
}

void Recorder_t::take(const Presence_t& presence) {
    present_.isConnected = presence.isThere;
    if (!presence.isThere) {
        return;
    }
    if (present_.isAnswering == false && !present_.hasSwitch) {
        record({watchEntry(presence.time, "switch-back", "information", "the switch is back")});
    }
    if (!*presence.isThere) {
        noteLoss(presence.time, true, NO_ADAPTER);
    }
    present_.hasSwitch = true;
}

void Recorder_t::noteLoss(Millis_t time, bool hasSwitch, const std::string& text) {
    const bool isNews = present_.isAnswering != false || present_.hasSwitch != hasSwitch;
    present_.isAnswering = false;
    present_.hasSwitch = hasSwitch;
    present_.error = text;
    if (isNews) {
        record({watchEntry(time, hasSwitch ? "adapter-lost" : "switch-lost", "error", text)});
    }
    if (present_.enclosure) {
        hub_.publish("status", presentStatusText(present_, options_));
    }
}

/** Whether the report belongs to the latest of its kind, which then lasts on. */
bool Recorder_t::isRepeat(const Entry_t& entry, const std::string& text) {
    const auto known = lasting_.find(entry.name);
    const bool isSame = known != lasting_.end() && known->second.text == text &&
                        entry.time - known->second.entry.lastTime < SAME_INCIDENT;
    if (!isSame) {
        return false;
    }
    known->second.entry.lastTime = entry.time;
    ++known->second.entry.count;
    return true;
}

void Recorder_t::take(const Report_t& report) {
    const bool isKnown = report.run != 0 && report.run == run_ && report.number <= number_;
    const std::optional<Event_t> event = decodeEvent(report.message);
    if (isKnown || !event) {
        return;
    }
    std::vector<Entry_t> entries;
    if (report.run != 0 && report.run == run_ && report.number > number_ + 1) {
        entries.push_back(
            watchEntry(report.arrival, "messages-missed", "warning",
                       std::to_string(report.number - number_ - 1) + " reports of the adapter went by unheard"));
    }
    run_ = report.run;
    number_ = report.number;
    Entry_t entry{0,
                  report.arrival,
                  report.arrival,
                  1,
                  event->name,
                  event->elements,
                  eventJson(*event, 0, millisText(report.arrival)).text(-1)};
    const auto note = [&](Store_t& store) {
        store.setNote("run", run_);
        store.setNote("number", number_);
        if (event->chassis != 0) {
            store.setNote("chassis", event->chassis);
        }
    };
    if (isRepeat(entry, event->text)) {
        const Entry_t& lasting = lasting_[entry.name].entry;
        record(std::move(entries), [&](Store_t& store) {
            store.repeat(lasting.sequence, lasting.lastTime);
            note(store);
        });
        ++present_.counts[entry.name];
        hub_.publish("repeat", entryText(lasting));
    } else {
        entries.push_back(entry);
        record(std::move(entries), note);
        if (isLasting(entry.name)) {
            entry.sequence = lastSequence_;
            lasting_[entry.name] = {entry, event->text};
        }
    }
    if (event->chassis != 0) {
        learnChassis(event->chassisName);
    }
}

void Recorder_t::take(const ActionResult_t& result) {
    record({actionEntry(result)});
}

void Recorder_t::learnChassis(const std::string& name) {
    if (!options_.chassis.empty() || name == "unknown" || name == present_.chassis) {
        return;
    }
    present_.chassis = name;
    if (present_.enclosure) {
        hub_.publish("config", configText(present_, options_));
    }
}

/** Whether it is another than was known. An adapter that has not reached its enclosure says nothing about which. */
bool Recorder_t::noteChassis() {
    const Enclosure_t& enclosure = *present_.enclosure;
    const std::string name = enclosure.chassis == nullptr ? "" : enclosure.chassis->name;
    if (!options_.chassis.empty() || isUnreached(enclosure.configuration) || name == present_.chassis) {
        return false;
    }
    present_.chassis = name;
    return true;
}

/** Makes history of what the collector finds: what is new is written down first and told afterwards. */
#pragma once

#include <functional>
#include <memory>

#include "hub.h"
#include "json.h"
#include "observations.h"
#include "options.h"
#include "present.h"
#include "store.h"

class Recorder_t {
public:
    /** Opens the history; a damaged one is set aside. Throws ToolError_t when there can be none at all. */
    Recorder_t(const MonitorOptions_t& options, Hub_t& hub);

    /** Writes down that the monitor has started, once it can be asked: one that is refused its port leaves no trace. */
    void begin();
    void take(const Observation_t& observation);
    /** What has to be done now and then; cheap when there is nothing. */
    void tick();

    const Present_t& present() const { return present_; }
    /** Null while nothing can be written; trouble() says why. */
    const Store_t* store() const { return store_.get(); }
    const std::string& trouble() const { return trouble_; }
    /** The history has shown to be no good: it is set aside, and the next entry begins a new one. */
    void giveUpStore(const StoreError_t& error);

private:
    /** The latest of the reports that come again with every poll while their cause lasts. */
    struct Lasting_t {
        Entry_t entry;
        std::string text;
    };

    void take(const Pages_t& pages);
    void take(const Failure_t& failure);
    void take(const Presence_t& presence);
    void take(const Report_t& report);
    void take(const ActionResult_t& result);

    void noteLoss(Millis_t time, bool hasSwitch, const std::string& text);
    bool openStore();
    bool beginStore();
    bool write(const std::function<void(Store_t&)>& change);
    void recall();
    void record(std::vector<Entry_t> entries, const std::function<void(Store_t&)>& also = {});
    bool isRepeat(const Entry_t& entry, const std::string& text);
    void learnChassis(const std::string& name);
    bool noteChassis();

    const MonitorOptions_t& options_;
    Hub_t& hub_;
    std::unique_ptr<Store_t> store_;
    std::string trouble_;
    Millis_t nextOpen_ = 0;
    Millis_t nextTidy_ = 0;
    std::int64_t lastSequence_ = 0;
    bool isOpening_ = false;
    std::string aside_; /**< what the next history's first entry tells */
    Present_t present_;
    std::vector<U8_t> configurationPage_;
    std::map<std::string, Lasting_t> lasting_;
    std::int64_t run_ = 0;
    std::int64_t number_ = 0;
};

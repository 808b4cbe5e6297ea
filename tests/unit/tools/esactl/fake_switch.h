/** A message switch with an adapter behind it, both scripted by the test. */
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>

#include "folder.h"
#include "json_value.h"
#include "program.h"
#include "sample_pages.h"
#include "stream.h"

using testsupport::JsonValue_t;
using testsupport::PATIENCE;

/** What a program that ran to its end has said. */
struct Said_t {
    int status;
    std::string out;
    std::string err;
};

/** Runs esactl with these words, which are parted by blanks; or with these, which may hold some. */
Said_t esactl(const std::string& words);
Said_t esactl(const std::vector<std::string>& words);

/** The command line of esactl with these words. */
std::vector<std::string> esactlCommand(const std::string& words);

/** Interrupts a program, which ends well then. */
void expectItEndsOn(int signal, testsupport::Process_t& process);

/** A whole response to `request` as the adapter frames it: status byte, then `payload`. */
Bytes_t responseTo(const Bytes_t& request, U8_t status, const Bytes_t& payload);

class FakeSwitch_t {
public:
    /** Messages to send when this request comes. */
    using Script_t = std::function<std::vector<Bytes_t>(const Bytes_t& request)>;

    /** Serves in a new directory of its own. */
    FakeSwitch_t();
    FakeSwitch_t(const Bytes_t& configuration, const Bytes_t& status) : FakeSwitch_t() { serve(configuration, status); }
    ~FakeSwitch_t();
    FakeSwitch_t(const FakeSwitch_t&) = delete;
    FakeSwitch_t& operator=(const FakeSwitch_t&) = delete;

    const std::string& directory() const { return folder_.path(); }

    /* To be set before a program connects. */
    Script_t script;
    Bytes_t greeting;                                   /**< names endpoint 34 */
    std::map<std::string, std::vector<Bytes_t>> queued; /**< by socket name: sent to whoever connects there */
    bool hangUp = false;                                /**< close each connection after what was queued for it */

    /** The adapter of an enclosure with these pages, which takes every control page. */
    void serve(const Bytes_t& configuration, const Bytes_t& status);

    /** Requests of the type (28 or 29) that came so far. */
    std::vector<Bytes_t> requests(U8_t type);

    /** Runs esactl against this switch. */
    Said_t esactl(const std::string& words) const { return ::esactl(words_ + words); }
    Said_t esactl(std::vector<std::string> words) const;
    /** What it prints, read as JSON. */
    JsonValue_t json(const std::string& words) const { return JsonValue_t::parse(esactl(words).out); }
    std::vector<JsonValue_t> jsonLines(const std::string& words) const;
    /** Starts it. */
    std::vector<std::string> command(const std::string& words) const { return esactlCommand(words_ + words); }

private:
    void run();
    bool take(const testsupport::Stream_t& connection);
    void accept(int listener);

    const testsupport::Folder_t folder_;
    const std::string words_ = "--directory " + folder_.path() + " ";
    std::map<int, std::string> listeners_;
    std::vector<testsupport::Stream_t> connections_;
    std::mutex mutex_;
    std::vector<Bytes_t> received_;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

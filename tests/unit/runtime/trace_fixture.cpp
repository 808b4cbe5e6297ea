#include "trace_fixture.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sstream>

TraceTest::TraceTest() {
    setDirectory(directory);
    (void)setenv("TZ", "UTC0", 1);
    calls::tzset.real(); // a stamp alone would be of the zone of the test before
    calls::time.answer = [this](time_t*) { return static_cast<time_t>(now); };
}

TraceTest::~TraceTest() {
    TRACE__done();
    calls::time.answer = nullptr;
}

void TraceTest::setDirectory(const std::string& name) {
    (void)std::snprintf(params.logDirectory, sizeof params.logDirectory, "%s", name.c_str());
}

void TraceTest::init(const char* logName) {
    const char* const names[] = {"ESA"};
    TRACE__init(&params, logName, 1, names);
}

bool TraceTest::exists(const std::string& name) const {
    return std::filesystem::exists(path(name));
}

std::string TraceTest::logName() {
    char name[192];
    std::memset(name, 'x', sizeof name);
    TRACE__getLogName(name);
    return name;
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> result;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        result.push_back(line);
    }
    return result;
}

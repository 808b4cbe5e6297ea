#include "shrinker.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace model {
namespace {

class Shrinker_t {
public:
    Shrinker_t(Life_t theLife, const Fails_t& theFails, unsigned most)
        : life_(std::move(theLife)), fails_(theFails), left_(most) {}

    Life_t shrink() {
        std::string before;
        while (before != toText(life_) && left_ > 0) {
            before = toText(life_);
            dropSteps();
            joinSteps();
            joinPasses();
            plainCircumstances();
            for (std::size_t i = 0; i < life_.steps.size(); ++i) {
                simplify(i);
            }
        }
        return life_;
    }

private:
    bool take(Life_t candidate) {
        if (left_ == 0 || candidate == life_) {
            return false;
        }
        --left_;
        if (!fails_(candidate)) {
            return false;
        }
        life_ = std::move(candidate);
        return true;
    }

    void dropSteps() {
        for (std::size_t size = std::max<std::size_t>(life_.steps.size() / 2, 1); size > 0; size /= 2) {
            for (std::size_t at = 0; at < life_.steps.size();) {
                Life_t candidate = life_;
                const auto first = candidate.steps.begin() + static_cast<std::ptrdiff_t>(at);
                const auto count = std::min(size, candidate.steps.size() - at);
                candidate.steps.erase(first, first + static_cast<std::ptrdiff_t>(count));
                if (!take(std::move(candidate))) {
                    at += size;
                }
            }
        }
    }

    /** Two passes, or two pieces, that follow each other are one. */
    void joinSteps() {
        for (std::size_t at = 0; at + 1 < life_.steps.size();) {
            const Step_t& second = life_.steps[at + 1];
            Life_t candidate = life_;
            Step_t& first = candidate.steps[at];
            first.count += second.kind == Step_t::PASS ? second.count : 0;
            first.bytes.insert(first.bytes.end(), second.bytes.begin(), second.bytes.end());
            candidate.steps.erase(candidate.steps.begin() + static_cast<std::ptrdiff_t>(at) + 1);
            const bool alike = first.kind == second.kind && (first.kind == Step_t::PASS || first.kind == Step_t::PUT);
            if (!alike || !take(std::move(candidate))) {
                ++at;
            }
        }
    }

    /** What happens between two passes may as well happen in front of both. */
    void joinPasses() {
        for (std::size_t at = 0; at < life_.steps.size();) {
            Life_t candidate = life_;
            const auto first = candidate.steps.begin() + static_cast<std::ptrdiff_t>(at);
            const auto isPass = [](const Step_t& step) { return step.kind == Step_t::PASS; };
            const auto second = std::find_if(first + 1, candidate.steps.end(), isPass);
            if (!isPass(*first) || second == candidate.steps.end()) {
                ++at;
                continue;
            }
            second->count += first->count;
            candidate.steps.erase(first);
            if (!take(std::move(candidate))) {
                ++at;
            }
        }
    }

    template <typename Field>
    void plain(Field Life_t::*field, Field value) {
        Life_t candidate = life_;
        candidate.*field = std::move(value);
        (void)take(std::move(candidate));
    }

    void plainCircumstances() {
        const Life_t usual;
        plain(&Life_t::arguments, usual.arguments);
        plain(&Life_t::attach, usual.attach);
        plain(&Life_t::rcp, usual.rcp);
        plain(&Life_t::flags, std::uint32_t{0});
        plain(&Life_t::flags, usual.flags);
        plain(&Life_t::socketFd, usual.socketFd);
        plain(&Life_t::deviceFd, usual.deviceFd);
        plain(&Life_t::directory, usual.directory);
        plain(&Life_t::bugCheckEnds, usual.bugCheckEnds);
    }

    bool takeStep(std::size_t index, Step_t step) {
        Life_t candidate = life_;
        candidate.steps[index] = std::move(step);
        return take(std::move(candidate));
    }

    template <typename Change>
    bool change(std::size_t index, Change alter) {
        Step_t step = life_.steps[index];
        alter(step);
        return takeStep(index, std::move(step));
    }

    void simplify(std::size_t index) {
        switch (life_.steps[index].kind) {
        case Step_t::PASS:
            while (life_.steps[index].count > 1 && change(index, [](Step_t& s) { s.count /= 2; })) {
            }
            while (life_.steps[index].count > 1 && change(index, [](Step_t& s) { --s.count; })) {
            }
            break;
        case Step_t::FAIL:
        case Step_t::DEAD:
            (void)change(index, [](Step_t& s) { s.outcome = Outcome_t(); });
            while (life_.steps[index].kind == Step_t::FAIL && life_.steps[index].count > 0 &&
                   change(index, [](Step_t& s) { --s.count; })) {
            }
            break;
        case Step_t::PUT:
            simplifyBytes(index);
            break;
        default:
            break;
        }
    }

    void simplifyBytes(std::size_t index) {
        for (std::size_t size = life_.steps[index].bytes.size(); size > 0; size /= 2) {
            while (life_.steps[index].bytes.size() > size &&
                   change(index, [size](Step_t& s) { s.bytes.resize(s.bytes.size() - size); })) {
            }
            for (std::size_t at = 0; at < life_.steps[index].bytes.size(); at += size) {
                (void)change(index, [at, size](Step_t& s) {
                    const auto first = s.bytes.begin() + static_cast<std::ptrdiff_t>(at);
                    std::fill_n(first, std::min(size, s.bytes.size() - at), std::uint8_t{0});
                });
            }
        }
    }

    Life_t life_;
    const Fails_t& fails_;
    unsigned left_;
};

} // namespace

Life_t shrink(Life_t life, const Fails_t& fails, unsigned most) {
    // Who only asks whether a life differs, very often, has no time for its shortest form.
    const char* asked = std::getenv("ESA_SHRINK");
    return Shrinker_t(std::move(life), fails, asked != nullptr ? static_cast<unsigned>(std::atoi(asked)) : most)
        .shrink();
}

} // namespace model

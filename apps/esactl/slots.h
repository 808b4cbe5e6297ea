/** Drive slots as people name them: numbers, lists, ranges, and a site's own labels. */
#pragma once

#include <map>
#include <string>
#include <vector>

/** A site's labels of its slots: bay names, serial numbers, links of the disks. */
class SlotLabels_t {
public:
    /**
     * Reads `path`: lines of a slot and its labels, separated by blanks; "#" starts a comment. A file that is not there
     * gives no labels, unless `mustExist`. Throws ToolError_t "usage", with the line, when a line makes no sense.
     */
    SlotLabels_t(const std::string& path, bool mustExist);

    /** The labels of a slot, in the order of the file. */
    [[nodiscard]] std::vector<std::string> of(unsigned slot) const;

    /** "slot03 (A4 WX1234)", or the name alone where there is no label. */
    [[nodiscard]] std::string describe(unsigned slot) const;

    /** All labels. */
    [[nodiscard]] std::vector<std::string> all() const;

    /**
     * The slots that `text` names, in its order and each once: "all", or items separated by commas, each a slot ("3",
     * "slot03"), a range ("5-7"), or a label; a label that is a link, and a device it leads to, are the same. Throws
     * ToolError_t "usage" when an item names none of the enclosure's `count` slots.
     */
    [[nodiscard]] std::vector<unsigned> parse(const std::string& text, unsigned count) const;

private:
    void readLine(const std::string& where, const std::string& line);
    void parseItem(const std::string& item, unsigned count, std::vector<unsigned>& slots) const;

    std::string path_;
    std::map<unsigned, std::vector<std::string>> labels_;
};

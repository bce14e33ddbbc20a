// Output of the korla tool: commands hand over records, the report renders them as text or JSON.
#pragma once

#include <cstdint>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

namespace kz::tool {

enum class Format { kText, kJson };

// One result. JSON shows `data`; text shows `headline`, then a "  label: value" line per
// detail, then `body` as it is.
struct Record {
    nlohmann::ordered_json data;
    std::string headline;
    std::vector<std::pair<std::string, std::string>> details;
    std::string body;
};

// Writes the results of a command to stdout in the chosen format.
class Report {
public:
    explicit Report(Format format, FILE *out = stdout) : format_(format), out_(out) {}

    // One record: a JSON object on a line of its own, or its text form.
    void Print(const Record &record);
    // Records that belong together: one JSON array on one line, or each record's text form.
    void PrintList(const std::vector<Record> &records);
    // A line for people only; the JSON form says the same through its data.
    void Remark(const std::string &line);

    // Output callback for the library's printers (trees, module sources): their text passes
    // through unchanged in either format.
    static uint32_t PassThrough(const char *text, uint32_t len, void *report);

private:
    void PrintText(const Record &record);
    void PrintJson(const nlohmann::ordered_json &data);
    void Put(const std::string &text);

    Format format_;
    FILE *out_;
};

// A failure that ends the command: "korla: MESSAGE" on stderr, whatever the format.
void Fail(const std::string &message);

} // namespace kz::tool

#include "korla_report.h"

namespace kz::tool {

void Report::Print(const Record &record)
{
    if (format_ == Format::kJson) {
        PrintJson(record.data);
    } else {
        PrintText(record);
    }
}

void Report::PrintList(const std::vector<Record> &records)
{
    if (format_ == Format::kText) {
        for (const Record &record : records) {
            PrintText(record);
        }
        return;
    }
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const Record &record : records) {
        list.push_back(record.data);
    }
    PrintJson(list);
}

void Report::Remark(const std::string &line)
{
    if (format_ == Format::kText) {
        Put(line + "\n");
    }
}

uint32_t Report::PassThrough(const char *text, uint32_t len, void *report)
{
    return fwrite(text, 1, len, static_cast<Report *>(report)->out_) == len ? 0 : 1;
}

void Report::PrintText(const Record &record)
{
    std::string text = record.headline + "\n";
    for (const auto &[label, value] : record.details) {
        text += "  " + label + ": " + value + "\n";
    }
    Put(text + record.body);
}

void Report::PrintJson(const nlohmann::ordered_json &data)
{
    // Names and messages may carry bytes that are not UTF-8; they must not stop the output.
    Put(data.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n");
}

void Report::Put(const std::string &text)
{
    fwrite(text.data(), 1, text.size(), out_);
}

void Fail(const std::string &message)
{
    fprintf(stderr, "korla: %s\n", message.c_str());
}

} // namespace kz::tool

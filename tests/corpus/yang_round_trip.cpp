// Round trip of every .yang file under a modules folder (each sub-folder is
// also a search directory): YANG -> YIN -> YANG -> YIN through the reader and
// the writers; the two YIN texts must be equal.  Exit 77 (skipped) when the
// folder is absent.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include <libxml/parser.h>

#include "yang/kz_yang_read.h"
#include "yang/kz_yang_write.h"

namespace {

namespace fs = std::filesystem;

uint32_t Append(const char *text, uint32_t len, void *arg)
{
    static_cast<std::string *>(arg)->append(text, len);
    return 0;
}

/* YANG text to canonical YIN text; "" with *error set on a failure. */
std::string YangToYin(const std::string &yang, const std::string &name, const std::vector<std::string> &dirs,
                      std::string *error)
{
    xmlDoc *doc = kz::yang::ReadYang(yang.data(), yang.size(), name.c_str(), dirs, error);
    std::string yin;
    if (doc != nullptr && kz::yang::WriteYin(doc, Append, &yin) != KZ_OK) {
        *error = "YIN writer failed";
        yin.clear();
    }
    xmlFreeDoc(doc);
    return yin;
}

std::string YinToYang(const std::string &yin, std::string *error)
{
    xmlDoc *doc = xmlReadMemory(yin.data(), static_cast<int>(yin.size()), nullptr, nullptr,
                                XML_PARSE_NOBLANKS | XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
    std::string yang;
    if (doc == nullptr || kz::yang::WriteYang(doc, {}, Append, &yang) != KZ_OK) {
        *error = "YIN text does not parse or write as YANG";
        yang.clear();
    }
    xmlFreeDoc(doc);
    return yang;
}

/* Where the two texts first differ, with a little context. */
std::string FirstDifference(const std::string &a, const std::string &b)
{
    const auto at = static_cast<std::size_t>(std::mismatch(a.begin(), a.end(), b.begin(), b.end()).first - a.begin());
    const std::size_t from = at > 40 ? at - 40 : 0;
    return "first YIN: ..." + a.substr(from, 80) + "\nsecond YIN: ..." + b.substr(from, 80);
}

} // namespace

int main(int argc, char **argv)
{
    const fs::path top = argc > 1 ? argv[1] : "/usr/share/yuma/modules";
    std::error_code ec;
    std::vector<std::string> dirs;
    std::vector<fs::path> files;
    for (const auto &entry : fs::directory_iterator(top, ec)) {
        if (entry.is_directory()) {
            dirs.push_back(entry.path().string());
            for (const auto &file : fs::directory_iterator(entry.path(), ec)) {
                if (file.path().extension() == ".yang") {
                    files.push_back(file.path());
                }
            }
        }
    }
    if (dirs.empty()) {
        std::printf("skipped: no module folders under %s (Debian package libyuma-base)\n", top.c_str());
        return 77;
    }
    std::sort(dirs.begin(), dirs.end());
    std::sort(files.begin(), files.end());
    unsigned passed = 0;
    unsigned failed = 0;
    for (const fs::path &path : files) {
        std::string text;
        std::string error;
        std::string first;
        std::string second;
        if (!kz::yang::ReadWholeFile(path.c_str(), &text)) {
            error = "cannot read";
        } else if (!(first = YangToYin(text, path.string(), dirs, &error)).empty()) {
            const std::string yang = YinToYang(first, &error);
            if (!yang.empty()) {
                second = YangToYin(yang, path.string() + " (written)", dirs, &error);
            }
        }
        if (!first.empty() && first == second) {
            passed++;
            continue;
        }
        failed++;
        std::printf("FAIL %s %s\n", path.c_str(),
                    error.empty() ? FirstDifference(first, second).c_str() : error.c_str());
    }
    std::printf("%u modules round-tripped, %u failed\n", passed, failed);
    return failed == 0 && passed != 0 ? 0 : 1;
}

// Reads every .yang file under a modules folder (each sub-folder is also a
// search directory, for extension definitions of imports) and checks that it
// reads without a syntax fault and gives a well-formed YIN document.
// Exit 77 (skipped) when the folder is absent.
#include <dirent.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <libxml/parser.h>
#include <libxml/tree.h>

#include "yang/kz_yang_read.h"

namespace {

std::vector<std::string> Entries(const std::string &dir, bool wantDirs)
{
    std::vector<std::string> out;
    DIR *d = opendir(dir.c_str());
    if (d == nullptr) {
        return out;
    }
    for (struct dirent *ent = readdir(d); ent != nullptr; ent = readdir(d)) {
        const std::string name = ent->d_name;
        const bool isDir = ent->d_type == DT_DIR;
        if (name[0] == '.' || isDir != wantDirs) {
            continue;
        }
        if (wantDirs || (name.size() > 5 && name.compare(name.size() - 5, 5, ".yang") == 0)) {
            out.push_back(dir + "/" + name);
        }
    }
    closedir(d);
    std::sort(out.begin(), out.end());
    return out;
}

/* The YIN text of the document, parsed again: a module or submodule element. */
bool ConvertsToYin(xmlDoc *doc)
{
    xmlChar *text = nullptr;
    int size = 0;
    xmlDocDumpMemory(doc, &text, &size);
    xmlDoc *again = text != nullptr ? xmlReadMemory(reinterpret_cast<const char *>(text), size, nullptr, nullptr,
                                                    XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING)
                                    : nullptr;
    xmlFree(text);
    const xmlNode *root = again != nullptr ? xmlDocGetRootElement(again) : nullptr;
    const bool ok = root != nullptr && root->ns != nullptr &&
                    std::strcmp(reinterpret_cast<const char *>(root->ns->href), "urn:ietf:params:xml:ns:yang:yin:1") == 0 &&
                    (std::strcmp(reinterpret_cast<const char *>(root->name), "module") == 0 ||
                     std::strcmp(reinterpret_cast<const char *>(root->name), "submodule") == 0);
    xmlFreeDoc(again);
    return ok;
}

} // namespace

int main(int argc, char **argv)
{
    const std::string top = argc > 1 ? argv[1] : "/usr/share/yuma/modules";
    std::vector<std::string> dirs = Entries(top, true);
    if (dirs.empty()) {
        std::printf("skipped: no module folders under %s (Debian package libyuma-base)\n", top.c_str());
        return 77;
    }
    unsigned passed = 0;
    unsigned failed = 0;
    for (const std::string &dir : dirs) {
        for (const std::string &path : Entries(dir, false)) {
            std::string text;
            std::string error;
            xmlDoc *doc = nullptr;
            if (kz::yang::ReadWholeFile(path.c_str(), &text)) {
                doc = kz::yang::ReadYang(text.data(), text.size(), path.c_str(), dirs, &error);
            }
            if (doc != nullptr && ConvertsToYin(doc)) {
                passed++;
            } else {
                failed++;
                std::printf("FAIL %s %s\n", path.c_str(), error.c_str());
            }
            xmlFreeDoc(doc);
        }
    }
    std::printf("%u passed, %u failed\n", passed, failed);
    return failed == 0 && passed != 0 ? 0 : 1;
}

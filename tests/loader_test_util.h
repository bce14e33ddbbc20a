// Helpers of the loader tests: scratch directories of YIN files, module text
// builders and a reader of the recorded diagnostics.
#ifndef LOADER_TEST_UTIL_H
#define LOADER_TEST_UTIL_H

#include <ftw.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "korla.h"
#include "test_support.h"

namespace loadertest {

class ScratchDir {
public:
    ScratchDir()
    {
        char tmpl[] = "/tmp/korla-loader-XXXXXX";
        const char *made = mkdtemp(tmpl);
        path_ = made != nullptr ? made : "";
    }
    ~ScratchDir()
    {
        if (!path_.empty()) {
            nftw(path_.c_str(), Remove, 8, FTW_DEPTH | FTW_PHYS);
        }
    }
    ScratchDir(const ScratchDir &) = delete;
    ScratchDir &operator=(const ScratchDir &) = delete;

    const std::string &Path() const { return path_; }
    std::string File(const std::string &name) const { return path_ + "/" + name; }

    void Write(const std::string &name, const std::string &text) const
    {
        FILE *f = std::fopen(File(name).c_str(), "wb");
        if (f != nullptr) {
            std::fwrite(text.data(), 1, text.size(), f);
            std::fclose(f);
        }
    }

private:
    static int Remove(const char *p, const struct stat *, int, struct FTW *)
    {
        return ::remove(p);
    }
    std::string path_;
};

// A module in YIN form; body is inserted after the header statements.
inline std::string Module(const std::string &name, const std::string &body, const std::string &prefix = "",
                          const std::string &extraNs = "")
{
    const std::string pfx = prefix.empty() ? name : prefix;
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<module name=\"" + name + "\" xmlns=\"urn:ietf:params:xml:ns:yang:yin:1\" xmlns:" + pfx +
           "=\"urn:test:" + name + "\"" + extraNs + ">\n"
           "  <yang-version value=\"1.1\"/>\n"
           "  <namespace uri=\"urn:test:" + name + "\"/>\n"
           "  <prefix value=\"" + pfx + "\"/>\n" + body + "</module>\n";
}

struct Diag {
    std::string module;
    std::string file;
    uint32_t level;
    std::string message;
};

inline uint32_t CollectDiag(const char *moduleName, const char *yinFile, uint32_t level, const char *message,
                            const KzSysTime *, void *arg)
{
    auto *out = static_cast<std::vector<Diag> *>(arg);
    out->push_back(Diag {moduleName != nullptr ? moduleName : "", yinFile != nullptr ? yinFile : "", level,
                         message != nullptr ? message : ""});
    return 0;
}

inline std::vector<Diag> Diagnostics(KzCtx *ctx)
{
    std::vector<Diag> out;
    (void)KZ_CTX_ScanAllSchemaLoadFail(ctx, CollectDiag, &out);
    return out;
}

inline std::vector<std::string> Messages(KzCtx *ctx, const std::string &module)
{
    return kztest::LoadMessages(ctx, module.c_str());
}

} // namespace loadertest

#endif // LOADER_TEST_UTIL_H

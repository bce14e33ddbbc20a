// The context a korla command works in, set up from the options every command shares.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "korla.h"
#include "korla_report.h"

namespace kz::tool {

struct SharedOptions {
    std::vector<std::string> dirs;     // -p: module search directories, in order
    std::vector<std::string> features; // -F: MODULE:FEATURE or MODULE:*
    Format format = Format::kText;     // --format
};

// Owns the one context of a run. Every failure is said on stderr before it is returned.
class Session {
public:
    explicit Session(const SharedOptions &options);
    ~Session();
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    // Creates the context and adds the search directories.
    bool Open();
    KzCtx *Ctx() const { return ctx_; }

    // Loads a module with its imports; null when it is not there afterwards, unreported.
    KzMod *LoadQuietly(const std::string &name, uint32_t *rc = nullptr);
    // Loads modules, stopping at the first one that cannot be loaded.
    std::optional<std::vector<KzMod *>> Load(const std::vector<std::string> &names);
    // Loads modules, then enables the -F features: what a command needs to use a schema.
    std::optional<std::vector<KzMod *>> LoadWithFeatures(const std::vector<std::string> &names);

private:
    bool AddSearchDir(const std::string &dir);
    bool EnableFeature(const std::string &feature);

    const SharedOptions &options_;
    KzCtx *ctx_ = nullptr;
};

} // namespace kz::tool

#include "korla_session.h"

#include <sys/stat.h>

#include <cstdlib>
#include <memory>

namespace kz::tool {

namespace {

// Imports are loaded with each module; "check" reports their failures too.
constexpr uint32_t kContextFlags = KZ_CTX_OPT_LOAD_IMPORTS | KZ_CTX_OPT_KEEP_DESCRIPTION | KZ_CTX_OPT_EXPAND_GROUPINGS;

bool IsDirectory(const std::string &path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// The context keeps directories as given, so relative ones are made absolute first.
std::optional<std::string> AbsolutePath(const std::string &path)
{
    if (path[0] == '/') {
        return path;
    }
    std::unique_ptr<char, decltype(&free)> real(realpath(path.c_str(), nullptr), free);
    if (real == nullptr) {
        return std::nullopt;
    }
    return std::string(real.get());
}

} // namespace

Session::Session(const SharedOptions &options) : options_(options) {}

Session::~Session()
{
    KZ_CTX_Delete(ctx_);
}

bool Session::Open()
{
    ctx_ = KZ_CTX_Create(kContextFlags);
    if (ctx_ == nullptr) {
        Fail("cannot create a context");
        return false;
    }
    for (const auto &dir : options_.dirs) {
        if (!AddSearchDir(dir)) {
            return false;
        }
    }
    return true;
}

bool Session::AddSearchDir(const std::string &dir)
{
    if (!IsDirectory(dir)) {
        Fail("no such directory: " + dir);
        return false;
    }
    std::optional<std::string> abs = AbsolutePath(dir);
    if (!abs) {
        Fail("cannot resolve directory: " + dir);
        return false;
    }
    if (KZ_CTX_SetSearchDir(ctx_, abs->c_str()) != KZ_OK) {
        Fail("cannot use directory: " + dir);
        return false;
    }
    return true;
}

KzMod *Session::LoadQuietly(const std::string &name, uint32_t *rc)
{
    uint32_t loaded = KZ_CTX_LoadModule(ctx_, name.c_str());
    if (rc != nullptr) {
        *rc = loaded;
    }
    return KZ_CTX_GetModuleByModName(ctx_, name.c_str());
}

std::optional<std::vector<KzMod *>> Session::Load(const std::vector<std::string> &names)
{
    std::vector<KzMod *> mods;
    for (const auto &name : names) {
        uint32_t rc = KZ_OK;
        KzMod *mod = LoadQuietly(name, &rc);
        if (mod == nullptr) {
            Fail(rc == KZ_ENOENT ? "unknown module: " + name : "failed to load module: " + name);
            return std::nullopt;
        }
        mods.push_back(mod);
    }
    return mods;
}

std::optional<std::vector<KzMod *>> Session::LoadWithFeatures(const std::vector<std::string> &names)
{
    std::optional<std::vector<KzMod *>> mods = Load(names);
    if (!mods) {
        return std::nullopt;
    }
    for (const auto &feature : options_.features) {
        if (!EnableFeature(feature)) {
            return std::nullopt;
        }
    }
    return mods;
}

bool Session::EnableFeature(const std::string &feature)
{
    size_t colon = feature.find(':');
    if (colon == std::string::npos || colon == 0 || colon + 1 == feature.size()) {
        Fail("feature must be MODULE:FEATURE or MODULE:*: " + feature);
        return false;
    }
    std::string modName = feature.substr(0, colon);
    KzMod *mod = KZ_CTX_GetModuleByModName(ctx_, modName.c_str());
    if (mod == nullptr) {
        Fail("unknown module: " + modName);
        return false;
    }
    if (KZ_MOD_EnableFeature(mod, feature.substr(colon + 1).c_str()) != KZ_OK) {
        Fail("unknown feature: " + feature);
        return false;
    }
    return true;
}

} // namespace kz::tool

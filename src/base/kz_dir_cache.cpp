/* Directory listings reused across loads (see kz_dir_cache.h). */
#include "base/kz_dir_cache.h"
#include "base/kz_kit.h"

#include <dirent.h>
#include <sys/stat.h>
#include <time.h>

#include <cstring>
#include <memory>
#include <new>
#include <unordered_map>
#include <utility>

struct KzDirCache {
    struct Listing {
        dev_t dev = 0;
        ino_t ino = 0;
        timespec mtime {};
        timespec ctime {};
        std::vector<std::string> names;
    };
    std::unordered_map<std::string, Listing> dirs; /* one per search directory listed */
};

namespace kz::base {
namespace {

/* A listing taken less than this long after the directory's entries last
 * changed is not kept: file times advance in coarse ticks, so a later change
 * could carry the same time.  Any later change of entries moves the
 * modification time to the present, away from an older one. */
constexpr time_t kSettleSeconds = 2;

bool SameTime(const timespec &a, const timespec &b)
{
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

/* The handle is owned so that a listing that cannot grow (bad_alloc) still closes it. */
bool ReadAtNames(const std::string &dir, std::vector<std::string> *out)
{
    DirPtr d(opendir(dir.c_str()));
    if (d == nullptr) {
        return false;
    }
    out->clear();
    for (const dirent *ent = readdir(d.get()); ent != nullptr; ent = readdir(d.get())) {
        if (std::strchr(ent->d_name, '@') != nullptr) {
            out->emplace_back(ent->d_name);
        }
    }
    return true;
}

} /* namespace */

const std::vector<std::string> *ListAtNames(KzDirCache *cache, const std::string &dir,
                                            std::vector<std::string> *scratch)
{
    struct stat st {};
    if (cache == nullptr || stat(dir.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
        return ReadAtNames(dir, scratch) ? scratch : nullptr;
    }
    auto found = cache->dirs.find(dir);
    if (found != cache->dirs.end()) {
        const KzDirCache::Listing &l = found->second;
        if (l.dev == st.st_dev && l.ino == st.st_ino && SameTime(l.mtime, st.st_mtim) &&
            SameTime(l.ctime, st.st_ctim)) {
            return &l.names;
        }
        cache->dirs.erase(found);
    }
    if (!ReadAtNames(dir, scratch)) {
        return nullptr;
    }
    timespec now {};
    clock_gettime(CLOCK_REALTIME, &now);
    if (now.tv_sec - st.st_mtim.tv_sec < kSettleSeconds) {
        return scratch;
    }
    /* Made whole before it enters the cache: a copy that fails (bad_alloc) must not
     * leave a listing that later reads as an unchanged, empty directory. */
    KzDirCache::Listing l;
    l.dev = st.st_dev;
    l.ino = st.st_ino;
    l.mtime = st.st_mtim;
    l.ctime = st.st_ctim;
    l.names = *scratch;
    return &cache->dirs.insert_or_assign(dir, std::move(l)).first->second.names;
}

KzDirCache *NewDirCache()
{
    return new (std::nothrow) KzDirCache();
}

void FreeDirCache(KzDirCache *cache)
{
    delete cache;
}

} /* namespace kz::base */

/* Listings of search directories kept by a context between module loads. */
#ifndef KZ_DIR_CACHE_H
#define KZ_DIR_CACHE_H

#include <string>
#include <vector>


struct KzDirCache;

namespace kz::base {

/* The names in `dir` that contain '@' (the only ones a search lists for),
 * in no particular order; nullptr when the directory cannot be opened.
 * With a cache, a listing is reused while the directory's times are the ones
 * it was taken at and its modification time was already well in the past
 * then (a change within the same clock tick cannot go unseen); otherwise, and
 * without a cache, the directory is read into *scratch. */
const std::vector<std::string> *ListAtNames(KzDirCache *cache, const std::string &dir,
                                            std::vector<std::string> *scratch);

/* An empty cache; nullptr when memory is short. */
KzDirCache *NewDirCache();

void FreeDirCache(KzDirCache *cache);

} /* namespace kz::base */

#endif /* KZ_DIR_CACHE_H */

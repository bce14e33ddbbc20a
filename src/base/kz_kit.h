// The small helpers every part of the library shares: owning pointers,
// null-safe text equality, text copies, zeroed allocation and the size of a
// name buffer.  There is one of each; code elsewhere uses these rather than a
// local twin.  C++ only.
#ifndef KZ_KIT_H
#define KZ_KIT_H

#include <dirent.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>

#include <libxml/tree.h>
#include <libxml/xmlregexp.h>

#include "korla.h"

namespace kz {

/* ---- Owning pointers ---- */

/* Frees a KZ_MemMalloc block. */
struct MemFreeDeleter {
    void operator()(void *p) const noexcept { KZ_MemFree(p); }
};
/* Owns a KZ_MemMalloc block until the end of a scope, also when a container throws. */
template <typename T>
using MemPtr = std::unique_ptr<T, MemFreeDeleter>;

struct XmlDocDeleter {
    void operator()(xmlDoc *doc) const noexcept { xmlFreeDoc(doc); }
};
using XmlDocPtr = std::unique_ptr<xmlDoc, XmlDocDeleter>;

struct XmlRegexpDeleter {
    void operator()(xmlRegexp *re) const noexcept { xmlRegFreeRegexp(re); }
};
using XmlRegexpPtr = std::unique_ptr<xmlRegexp, XmlRegexpDeleter>;

struct FileDeleter {
    void operator()(FILE *f) const noexcept { std::fclose(f); }
};
using FilePtr = std::unique_ptr<FILE, FileDeleter>;

struct DirDeleter {
    void operator()(DIR *d) const noexcept { closedir(d); }
};
using DirPtr = std::unique_ptr<DIR, DirDeleter>;

/* ---- Text equality ----
 * Two rules, named for how they treat a missing text.  Interned texts usually
 * match by address, so that is tried first. */

/* Equal texts; a missing text equals only another missing one. */
inline bool SameText(const char *a, const char *b)
{
    return a == b || (a != nullptr && b != nullptr && std::strcmp(a, b) == 0);
}

/* Equal texts that are both present; a missing text equals nothing. */
inline bool SameNonNullText(const char *a, const char *b)
{
    return a != nullptr && b != nullptr && (a == b || std::strcmp(a, b) == 0);
}

/* ---- Zeroed allocation ---- */

/* count zeroed Ts from the library allocator; null when out of memory, when
 * the size overflows, or for zero bytes. */
template <typename T>
T *ZeroAlloc(size_t count = 1)
{
    if (count == 0 || count > SIZE_MAX / sizeof(T)) {
        return nullptr;
    }
    void *p = KZ_MemMalloc(sizeof(T) * count);
    if (p != nullptr) {
        std::memset(p, 0, sizeof(T) * count);
    }
    return static_cast<T *>(p);
}

/* ---- Text copies (freed with KZ_MemFree) ---- */

/* The first len characters of text and a NUL; null when out of memory. */
inline char *DupText(const char *text, size_t len)
{
    if (len == SIZE_MAX) {
        return nullptr;
    }
    auto *copy = static_cast<char *>(KZ_MemMalloc(len + 1));
    if (copy == nullptr) {
        return nullptr;
    }
    if (len != 0) {
        std::memcpy(copy, text, len);
    }
    copy[len] = '\0';
    return copy;
}

/* A copy of text; null for a missing text or when out of memory. */
inline char *DupText(const char *text)
{
    return text != nullptr ? DupText(text, std::strlen(text)) : nullptr;
}

/* ---- Name buffers ---- */

/* Bytes of a buffer holding one YANG identifier (module, prefix, node or
 * feature name) and its NUL. */
constexpr uint32_t kNameBufSize = KZ_CTX_MODULE_NAME_MAX + 1;

}  // namespace kz

#endif  // KZ_KIT_H

/* Locating a module's YANG file in the search directories. */
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "korla.h"
#include "base/kz_dir_cache.h"
#include "yang/kz_yang_read.h"

namespace kz::yang {
namespace {

bool IsRegularFile(const std::string &path, struct stat *st)
{
    return stat(path.c_str(), st) == 0 && S_ISREG(st->st_mode);
}

/* "YYYY-MM-DD.yang": the part after '@' of a revision file name. */
bool IsRevisionTail(const char *tail)
{
    static const char kShape[] = "dddd-dd-dd.yang";
    for (std::size_t i = 0; i < sizeof(kShape) - 1; i++) {
        const char c = tail[i];
        if (kShape[i] == 'd' ? (c < '0' || c > '9') : c != kShape[i]) {
            return false;
        }
    }
    return tail[sizeof(kShape) - 1] == '\0';
}

/* The newest name@REVISION.yang in one directory, or "" (*st: its status). */
std::string NewestRevisionFile(const std::string &dir, const std::string &name, KzDirCache *listings,
                               struct stat *st)
{
    std::vector<std::string> scratch;
    const std::vector<std::string> *names = kz::base::ListAtNames(listings, dir, &scratch);
    if (names == nullptr) {
        return {};
    }
    std::string best;
    for (const std::string &entry : *names) {
        const char *file = entry.c_str();
        if (std::strncmp(file, name.c_str(), name.size()) != 0 || file[name.size()] != '@' ||
            !IsRevisionTail(file + name.size() + 1)) {
            continue;
        }
        /* Same length and shape: the later date is the greater string. */
        struct stat candidate {};
        if ((best.empty() || std::strcmp(file, best.c_str()) > 0) && IsRegularFile(dir + "/" + file, &candidate)) {
            best = file;
            *st = candidate;
        }
    }
    return best.empty() ? best : dir + "/" + best;
}

} /* namespace */

std::string FindYangFile(const std::vector<std::string> &dirs, const char *name, KzDirCache *listings,
                         struct stat *found)
{
    if (name == nullptr || name[0] == '\0' || std::strchr(name, '/') != nullptr) {
        return {};
    }
    struct stat unused {};
    found = found != nullptr ? found : &unused;
    for (const std::string &dir : dirs) {
        std::string plain = dir + "/" + name + ".yang";
        if (IsRegularFile(plain, found)) {
            return plain;
        }
        std::string newest = NewestRevisionFile(dir, name, listings, found);
        if (!newest.empty()) {
            return newest;
        }
    }
    return {};
}

bool ReadWholeFile(const char *path, std::string *out)
{
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    struct Closer {
        int fd;
        ~Closer() { close(fd); }
    } closer{fd};
    out->clear();
    /* Read straight into the string, sized from the file's length when it
     * can be learnt; a file that grows meanwhile is still read to its end. */
    struct stat st {};
    std::size_t want = 65536;
    if (fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_size > 0) {
        /* The size limit is checked before anything is allocated for the text. */
        if (static_cast<unsigned long long>(st.st_size) > KZ_CTX_MODULE_FILE_MAX) {
            return false;
        }
        want = static_cast<std::size_t>(st.st_size) + 1;
    }
    for (;;) {
        const std::size_t had = out->size();
        out->resize(had + want);
        std::size_t got = 0;
        while (got < want) {
            const ssize_t n = read(fd, &(*out)[had + got], want - got);
            if (n < 0 && errno == EINTR) {
                continue;
            }
            if (n <= 0) {
                out->resize(had + got);
                return n == 0 && out->size() <= KZ_CTX_MODULE_FILE_MAX;
            }
            got += static_cast<std::size_t>(n);
        }
        if (out->size() > KZ_CTX_MODULE_FILE_MAX) {
            return false;
        }
        want = 65536;
    }
}

} /* namespace kz::yang */

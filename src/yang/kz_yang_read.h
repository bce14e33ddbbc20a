/* The YANG text front end: turns a module or submodule written in YANG
 * (RFC 7950 / RFC 6020 syntax) into the same in-memory YIN document that a
 * .yin file parses to, so that everything after reading is shared. */
#ifndef KZ_YANG_READ_H
#define KZ_YANG_READ_H

#include <sys/stat.h>

#include <cstddef>
#include <string>
#include <vector>

#include <libxml/tree.h>

#include "schema/kzs_ctx.h"

namespace kz::yang {

/* Statements may nest this deep (the module statement is level 1); deeper
 * text is refused as a syntax fault rather than risking unbounded work. */
constexpr unsigned kMaxNestingDepth = 256;

/* Reads a module or submodule written in YANG into the YIN document the
 * loader walks (YIN namespace, each argument as its attribute or its
 * text/value child element).  The caller owns the result (xmlFreeDoc).
 * Returns nullptr on a syntax fault, with *error set to
 * "FILE:LINE:COLUMN: message" (fileName may be empty for text in memory;
 * the message then starts with "LINE:COLUMN: ").
 * Extension definitions of imported modules are looked up in `dirs`
 * (search directories, in order) to learn each extension argument's YIN
 * form.  An extension whose definition cannot be found (module file absent,
 * or no such extension in it) still reads: its argument becomes an attribute
 * named "value" (the YIN form a missing yin-element gives), nothing is
 * reported.  A prefix that names neither the module nor an import is a
 * syntax fault.  `listings` and `facts` (optional) keep what searching and
 * reading imported modules learnt, for later reads. */
struct ImportFacts;
xmlDocPtr ReadYang(const char *text, std::size_t length, const char *fileName,
                   const std::vector<std::string> &dirs, std::string *error, KzDirCache *listings = nullptr,
                   ImportFacts *facts = nullptr);

/* What reads learn of imported modules' YANG files (namespace, extension
 * argument forms), kept by path while a file is unchanged, for later reads
 * given the same object; nullptr when memory is short. */
ImportFacts *NewImportFacts();
void FreeImportFacts(void *facts);

/* Name of the module or submodule a YANG text defines (the argument of its
 * first statement), or "" when the text does not start like one.  Cheap: reads
 * only up to the first argument. */
std::string PeekYangModuleName(const char *text, std::size_t length);

/* Path of a module's YANG file: in each directory in order, name.yang, then
 * the newest name@YYYY-MM-DD.yang there; "" when there is none.  `listings`
 * (optional) keeps directory listings between searches; `found` (optional)
 * receives the status of the file found. */
std::string FindYangFile(const std::vector<std::string> &dirs, const char *name, KzDirCache *listings = nullptr,
                         struct stat *found = nullptr);

/* Reads a whole file into *out; false when it cannot be read. */
bool ReadWholeFile(const char *path, std::string *out);

} /* namespace kz::yang */

#endif /* KZ_YANG_READ_H */

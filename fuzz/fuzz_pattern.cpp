// Runs the ASCII pattern matcher beside libxml2 on an arbitrary expression and
// value (split at the first NUL) and traps when the two disagree.  Expressions
// the matcher leaves to libxml2 are only compiled, so libxml2's own slowness
// on hostile expressions stays out of the run.
#include <libxml/xmlregexp.h>

#include <string>

#include "base/kz_ascii_regex.h"
#include "base/kz_kit.h"
#include "base/kz_xml.h"
#include "fuzz_module.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string text = kzfuzz::AsText(data, size);
    const size_t split = text.find('\0');
    const std::string expr = text.substr(0, split);
    const std::string value = split == std::string::npos ? "" : text.substr(split + 1);
    const auto ascii = kz::base::AsciiRegex::Compile(expr.c_str());
    if (ascii == nullptr || value.find('\0') != std::string::npos) {
        return 0;
    }
    const auto mine = ascii->Match(value.c_str());
    const kz::XmlRegexpPtr re(kz::base::CompileRegexpQuietly(expr.c_str()));
    if (re == nullptr || mine == kz::base::AsciiRegex::Result::kNotAscii) {
        return 0;
    }
    const bool theirs = xmlRegexpExec(re.get(), reinterpret_cast<const xmlChar *>(value.c_str())) == 1;
    if (theirs != (mine == kz::base::AsciiRegex::Result::kMatch)) {
        __builtin_trap();
    }
    return 0;
}

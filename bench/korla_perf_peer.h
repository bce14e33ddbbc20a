// The peer column of korla_perf: a second YANG library loading the same YIN
// module and validating the same request, when its development package was
// found at configure time. The product never links it.
#ifndef KORLA_PERF_PEER_H
#define KORLA_PERF_PEER_H

#include <string>
#include <vector>

namespace kzbench {

// False when korla_perf was built without the peer library.
bool PeerBuilt();

// Fastest of `reps` loads of `yin` into a fresh peer context (context set-up
// not counted), in CPU ms; negative when the module does not load.
double PeerLoadMs(const std::string &yin, int reps);

// Fastest of `reps` parses with validation of the rpc request `xml` against
// the module `yin`, in CPU ms; negative when either is refused.
double PeerValidateMs(const std::string &yin, const std::string &xml, int reps);

// One load of every module in `names` from directory `dir` into a fresh peer
// context, all features on, then the context freed; false when one is refused.
bool PeerLoadFolder(const std::string &dir, const std::vector<std::string> &names);

}  // namespace kzbench

#endif

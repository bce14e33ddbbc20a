// The request-validation workload shared by the benchmarks: an rpc whose list entries each carry
// a must, a when, a default and a pattern-typed leaf, and a generator of requests of any size.
#ifndef KORLA_BENCH_REQUEST_H
#define KORLA_BENCH_REQUEST_H

#include <string>

namespace kzbench {

inline const char *kRequestModule = R"(<module name="bv" xmlns="urn:ietf:params:xml:ns:yang:yin:1" xmlns:bv="urn:example:bv">
  <namespace uri="urn:example:bv"/>
  <prefix value="bv"/>
  <rpc name="load">
    <input>
      <list name="entry">
        <key value="id"/>
        <leaf name="id"><type name="string"/></leaf>
        <leaf name="kind"><type name="string"/><default value="plain"/></leaf>
        <leaf name="code"><type name="string"><pattern value="[A-Z]{2}[0-9]+"/></type></leaf>
        <leaf name="note"><when condition="../kind = 'rich'"/><type name="string"/></leaf>
        <must condition="id != 'bad'"/>
      </list>
    </input>
  </rpc>
</module>)";

inline std::string MakeRequest(int entries)
{
    std::string text = "<load xmlns=\"urn:example:bv\">";
    for (int i = 0; i < entries; ++i) {
        text += "<entry><id>e" + std::to_string(i) + "</id><code>AB" + std::to_string(i) + "</code></entry>";
    }
    return text + "</load>";
}

} // namespace kzbench

#endif

// The workloads shared by the benchmarks: generated modules of any size for
// loading, and an rpc whose list entries each carry a must, a when, a default
// and a pattern-typed leaf, with a generator of requests of any size.
#ifndef KORLA_BENCH_WORKLOADS_H
#define KORLA_BENCH_WORKLOADS_H

#include <libxml/parser.h>

#include <string>

namespace kzbench {

// The library reads modules with blank text nodes dropped; parse the same way.
inline void XmlParse(const std::string &text)
{
    xmlDoc *doc = xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr, XML_PARSE_NOBLANKS);
    xmlFreeDoc(doc);
}

// A module of about `wanted` schema nodes: groups of a container holding a keyed
// list of typed leaves (typedef with range, length, feature, when), a choice
// and a leaf-list, 28 schema nodes per group.
inline std::string MakeModule(int wanted, int *nodeCount)
{
    constexpr int kLeaves = 22;
    constexpr int kPerGroup = 1 + 1 + kLeaves + 3 + 1;
    const int groups = (wanted + kPerGroup - 1) / kPerGroup;
    std::string t;
    t += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         "<module name=\"perf-inventory\" xmlns=\"urn:ietf:params:xml:ns:yang:yin:1\"\n"
         "        xmlns:inv=\"urn:acme:perf-inventory\">\n"
         "  <yang-version value=\"1.1\"/>\n"
         "  <namespace uri=\"urn:acme:perf-inventory\"/>\n"
         "  <prefix value=\"inv\"/>\n"
         "  <revision date=\"2024-06-01\"/>\n"
         "  <typedef name=\"slot-number\"><type name=\"uint8\"><range value=\"1..64\"/></type></typedef>\n"
         "  <feature name=\"extended-counters\"/>\n";
    for (int g = 0; g < groups; g++) {
        const std::string n = std::to_string(g);
        t += "  <container name=\"group-" + n + "\">\n    <list name=\"entry\"><key value=\"id\"/>\n"
             "      <leaf name=\"id\"><type name=\"uint32\"/></leaf>\n";
        for (int l = 1; l < kLeaves; l++) {
            const std::string ln = std::to_string(l);
            switch (l % 4) {
            case 0:
                t += "      <leaf name=\"label-" + ln +
                     "\"><type name=\"string\"><length value=\"1..64\"/></type></leaf>\n";
                break;
            case 1:
                t += "      <leaf name=\"slot-" + ln +
                     "\"><type name=\"inv:slot-number\"/><default value=\"1\"/></leaf>\n";
                break;
            case 2:
                t += "      <leaf name=\"counter-" + ln +
                     "\"><if-feature name=\"extended-counters\"/><type name=\"uint64\"/><config value=\"false\"/>"
                     "</leaf>\n";
                break;
            default:
                t += "      <leaf name=\"state-" + ln +
                     "\"><type name=\"enumeration\"><enum name=\"up\"/><enum name=\"down\"/></type>"
                     "<when condition=\"../id &gt; 0\"/></leaf>\n";
                break;
            }
        }
        t += "    </list>\n    <choice name=\"mode\"><case name=\"auto\"><leaf name=\"auto\"><type name=\"empty\"/>"
             "</leaf></case></choice>\n    <leaf-list name=\"tag\"><type name=\"string\"/></leaf-list>\n"
             "  </container>\n";
    }
    t += "</module>\n";
    *nodeCount = groups * kPerGroup;
    return t;
}


// A flat module of `leaves` leaves with distinct names, each optionally with a
// long description: the load cost per distinct name that the dictionary sees.
inline std::string MakeNamesModule(int leaves, bool withDescriptions)
{
    std::string t = "<module name=\"perf-names\" xmlns=\"urn:ietf:params:xml:ns:yang:yin:1\">\n"
                    "  <namespace uri=\"urn:acme:perf-names\"/><prefix value=\"pn\"/>\n";
    for (int i = 0; i < leaves; i++) {
        const std::string n = std::to_string(i);
        t += "  <leaf name=\"counter-" + n + "\"><type name=\"uint32\"/>";
        if (withDescriptions) {
            t += "<description><text>Counter " + n +
                 " of the interface statistics, reset when the line card restarts and kept across "
                 "control-plane switchovers.</text></description>";
        }
        t += "</leaf>\n";
    }
    return t + "</module>\n";
}

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

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

// Writes statements as YIN or as YANG text, so that a generated module exists
// in both forms with the same statements.
class StatementWriter {
public:
    explicit StatementWriter(bool yang) : yang_(yang) {}

    // A statement with sub-statements to follow; argName is its YIN attribute,
    // yinAttrs more attributes written in YIN only (namespace declarations).
    void Open(const char *keyword, const char *argName, const std::string &arg, const char *yinAttrs = "")
    {
        Start(keyword, argName, arg);
        text_ += yang_ ? " {\n" : std::string(yinAttrs) + ">\n";
        depth_++;
    }
    void Close(const char *keyword)
    {
        depth_--;
        Indent();
        text_ += yang_ ? std::string("}\n") : "</" + std::string(keyword) + ">\n";
    }
    void Stmt(const char *keyword, const char *argName, const std::string &arg)
    {
        Start(keyword, argName, arg);
        text_ += yang_ ? ";\n" : "/>\n";
    }
    std::string &Text() { return text_; }

private:
    void Indent() { text_.append(2 * static_cast<size_t>(depth_), ' '); }
    void Start(const char *keyword, const char *argName, const std::string &arg)
    {
        Indent();
        text_ += yang_ ? "" : "<";
        text_ += keyword;
        if (argName == nullptr) {
            return;
        }
        if (yang_) {
            // Quotes only where the text needs them; the generated arguments hold no quote or backslash.
            const bool plain = arg.find_first_of(" ;{}") == std::string::npos;
            text_ += plain ? " " + arg : " \"" + arg + "\"";
            return;
        }
        text_ += std::string(" ") + argName + "=\"";
        for (char c : arg) {
            text_ += (c == '>') ? "&gt;" : (c == '<') ? "&lt;" : (c == '&') ? "&amp;" : std::string(1, c);
        }
        text_ += "\"";
    }

    bool yang_;
    int depth_ = 0;
    std::string text_;
};

// A module of about `wanted` schema nodes: groups of a container holding a keyed
// list of typed leaves (typedef with range, length, feature, when), a choice
// and a leaf-list, 28 schema nodes per group.  YIN text, or YANG with `yang`.
inline std::string MakeModule(int wanted, int *nodeCount, bool yang = false)
{
    constexpr int kLeaves = 22;
    constexpr int kPerGroup = 1 + 1 + kLeaves + 3 + 1;
    const int groups = (wanted + kPerGroup - 1) / kPerGroup;
    StatementWriter w(yang);
    if (!yang) {
        w.Text() += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    }
    auto typed = [&w](const char *kind, const std::string &name, const char *type) {
        w.Open(kind, "name", name);
        w.Stmt("type", "name", type);
    };
    w.Open("module", "name", "perf-inventory",
           " xmlns=\"urn:ietf:params:xml:ns:yang:yin:1\" xmlns:inv=\"urn:acme:perf-inventory\"");
    w.Stmt("yang-version", "value", "1.1");
    w.Stmt("namespace", "uri", "urn:acme:perf-inventory");
    w.Stmt("prefix", "value", "inv");
    w.Stmt("revision", "date", "2024-06-01");
    w.Open("typedef", "name", "slot-number");
    w.Open("type", "name", "uint8");
    w.Stmt("range", "value", "1..64");
    w.Close("type");
    w.Close("typedef");
    w.Stmt("feature", "name", "extended-counters");
    for (int g = 0; g < groups; g++) {
        w.Open("container", "name", "group-" + std::to_string(g));
        w.Open("list", "name", "entry");
        w.Stmt("key", "value", "id");
        typed("leaf", "id", "uint32");
        w.Close("leaf");
        for (int l = 1; l < kLeaves; l++) {
            const std::string ln = std::to_string(l);
            switch (l % 4) {
            case 0:
                w.Open("leaf", "name", "label-" + ln);
                w.Open("type", "name", "string");
                w.Stmt("length", "value", "1..64");
                w.Close("type");
                break;
            case 1:
                typed("leaf", "slot-" + ln, "inv:slot-number");
                w.Stmt("default", "value", "1");
                break;
            case 2:
                w.Open("leaf", "name", "counter-" + ln);
                w.Stmt("if-feature", "name", "extended-counters");
                w.Stmt("type", "name", "uint64");
                w.Stmt("config", "value", "false");
                break;
            default:
                w.Open("leaf", "name", "state-" + ln);
                w.Open("type", "name", "enumeration");
                w.Stmt("enum", "name", "up");
                w.Stmt("enum", "name", "down");
                w.Close("type");
                w.Stmt("when", "condition", "../id > 0");
                break;
            }
            w.Close("leaf");
        }
        w.Close("list");
        w.Open("choice", "name", "mode");
        w.Open("case", "name", "auto");
        typed("leaf", "auto", "empty");
        w.Close("leaf");
        w.Close("case");
        w.Close("choice");
        typed("leaf-list", "tag", "string");
        w.Close("leaf-list");
        w.Close("container");
    }
    w.Close("module");
    *nodeCount = groups * kPerGroup;
    return std::move(w.Text());
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

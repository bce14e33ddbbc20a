// korla value: checks one value against the type of a leaf and names what accepted it.
#include "korla_command.h"

namespace kz::tool {

namespace {

constexpr CommandText kValueText = {
    "value", "MODULE PATH VALUE", "check one value against a leaf's type",
    "usage: korla [-p DIR]... [--format text|json] value MODULE PATH VALUE\n"
    "Checks VALUE against the type of the leaf at PATH (\"/module:node/child\" or a\n"
    "prefixed path) and names the matched union member or typedef.\n"};

// Built-in types by the value KZ_TYPE_GetBuiltInBaseType gives.
constexpr const char *kBaseTypeNames[] = {
    "derived", "binary", "bits", "boolean", "decimal64", "empty", "enumeration",
    "identityref", "instance-identifier", "int8", "int16", "int32", "int64",
    "leafref", "string", "uint8", "uint16", "uint32", "uint64", "union",
};

// Value-check results, from KZ_VAL_ERR_NO_BODY on.
constexpr const char *kFailedCheckNames[] = {
    "constraint without body", "typedef chain", "identityref", "bits", "enumeration", "length",
    "leafref", "pattern", "range", "union", "boolean", "binary", "empty",
};

std::string FailedCheck(uint32_t rc)
{
    if (rc >= KZ_VAL_ERR_NO_BODY && rc - KZ_VAL_ERR_NO_BODY < std::size(kFailedCheckNames)) {
        return kFailedCheckNames[rc - KZ_VAL_ERR_NO_BODY];
    }
    return "status " + std::to_string(rc);
}

std::string TypedefName(const char *mod, const char *tdef)
{
    return std::string(mod != nullptr ? mod : "") + ":" + tdef;
}

struct MatchSearch {
    const KztRealType *matched;
    std::string name;
};

uint32_t FindMatchedTypedef(const char *mod, const char *tdef, KztRealType *realType, void *arg)
{
    auto *search = static_cast<MatchSearch *>(arg);
    if (realType == search->matched && tdef != nullptr) {
        search->name = TypedefName(mod, tdef);
        return 1;
    }
    return 0;
}

uint32_t KeepFirstTypedef(const char *mod, const char *tdef, KztRealType *, void *arg)
{
    if (tdef != nullptr) {
        *static_cast<std::string *>(arg) = TypedefName(mod, tdef);
    }
    return 1;
}

// Names the type that accepted a value: a typedef of the leaf's chain, or a union member.
std::string DescribeMatch(KzCtx *ctx, const KzsNode *leaf, KztRealType *matched)
{
    MatchSearch search{matched, ""};
    KZ_NODE_ScanDerivedType(leaf, FindMatchedTypedef, &search);
    if (!search.name.empty()) {
        return "typedef " + search.name;
    }
    uint32_t base = KZ_TYPE_GetBuiltInBaseType(matched);
    if (base == 0) {
        std::string name;
        KZ_TYPE_IterRealTypeDerivedName(matched, ctx, KeepFirstTypedef, &name);
        return "typedef " + (name.empty() ? std::string("?") : name);
    }
    return std::string("built-in type ") + (base < std::size(kBaseTypeNames) ? kBaseTypeNames[base] : "invalid");
}

// The leaf or leaf-list at a schema path, or at a path prefixed as in the module.
KzsNode *FindLeaf(KzCtx *ctx, KzMod *mod, const std::string &path)
{
    KzsNode *node = KZ_CTX_GetTargetNode(ctx, path.c_str(), nullptr);
    if (node == nullptr) {
        node = KZ_MOD_GetNodeByPrefixedPath(mod, nullptr, path.c_str());
    }
    uint32_t kind = KZ_NODE_GetNodeType(node);
    return node != nullptr && (kind == KZ_NODE_KIND_LEAF || kind == KZ_NODE_KIND_LEAFLIST) ? node : nullptr;
}

Record AcceptedValue(KzCtx *ctx, const KzsNode *leaf, const std::string &path, const std::string &value)
{
    std::string match =
        DescribeMatch(ctx, leaf, KZ_NODE_FindRealTypeMatchedValue(leaf, KZ_VAL_INPUT_STRING, value.c_str()));
    nlohmann::ordered_json data = {
        {"path", path}, {"value", value}, {"valid", true},
        {"status", KZ_OK}, {"failed-check", nullptr}, {"matched", match},
    };
    return {data, "valid: " + match, {}, ""};
}

Record RefusedValue(uint32_t rc, const std::string &path, const std::string &value)
{
    std::string check = FailedCheck(rc);
    nlohmann::ordered_json data = {
        {"path", path}, {"value", value}, {"valid", false},
        {"status", rc}, {"failed-check", check}, {"matched", nullptr},
    };
    return {data, "invalid: " + check + " check failed (status " + std::to_string(rc) + ")", {}, ""};
}

class ValueCommand : public Command {
public:
    const CommandText &Text() const override { return kValueText; }

    void Declare(CLI::App &sub) override
    {
        sub.add_option("MODULE", module_);
        sub.add_option("PATH", path_);
        value_option_ = sub.add_option("VALUE", value_);
        // Arguments beyond VALUE land here rather than with the app: a wrong count gets one answer,
        // and a "--" anywhere among the arguments stays with this command.
        sub.add_option("SURPLUS", surplus_);
    }

    int Run(Session &session, Report &report) override
    {
        if (value_option_->count() == 0 || !surplus_.empty()) {
            Fail("value needs MODULE PATH VALUE");
            return kExitUsage;
        }
        std::optional<std::vector<KzMod *>> mods = session.LoadWithFeatures({module_});
        if (!mods) {
            return kExitUsage;
        }
        KzsNode *leaf = FindLeaf(session.Ctx(), mods->front(), path_);
        if (leaf == nullptr) {
            Fail("no leaf at path: " + path_);
            return kExitUsage;
        }
        uint32_t rc = KZ_NODE_ValidateValue(leaf, KZ_VAL_INPUT_STRING, value_.c_str());
        report.Print(rc == KZ_OK ? AcceptedValue(session.Ctx(), leaf, path_, value_) : RefusedValue(rc, path_, value_));
        return rc == KZ_OK ? kExitOk : kExitInvalid;
    }

private:
    std::string module_, path_, value_;
    std::vector<std::string> surplus_;
    const CLI::Option *value_option_ = nullptr;
};

} // namespace

std::unique_ptr<Command> MakeValueCommand()
{
    return std::make_unique<ValueCommand>();
}

} // namespace kz::tool

// A small but realistic module shared by the fuzz targets that validate data:
// typedef chains, every base type, lists with keys, choices, defaults,
// presence containers, when/must conditions, an action and a notification.
#ifndef KORLA_FUZZ_MODULE_H
#define KORLA_FUZZ_MODULE_H

#include <cstddef>
#include <cstdint>
#include <string>

#include <libxml/xmlerror.h>

#include "korla.h"

namespace kzfuzz {

constexpr const char *kModule = R"yin(<?xml version="1.0"?>
<module name="fz" xmlns="urn:ietf:params:xml:ns:yang:yin:1" xmlns:fz="urn:example:fz">
  <namespace uri="urn:example:fz"/>
  <prefix value="fz"/>
  <revision date="2024-01-01"/>
  <feature name="extra"/>
  <identity name="base-if"/>
  <identity name="eth"><base name="fz:base-if"/></identity>
  <identity name="fast-eth"><base name="fz:eth"/></identity>
  <typedef name="percent"><type name="uint8"><range value="0..100"/></type></typedef>
  <typedef name="low-percent"><type name="fz:percent"><range value="min..50"/></type></typedef>
  <typedef name="label"><type name="string"><length value="1..16"/><pattern value="[a-z][a-z0-9\-]*"/></type></typedef>
  <typedef name="money"><type name="decimal64"><fraction-digits value="2"/><range value="-1000.50..1000000"/></type></typedef>
  <container name="top">
    <leaf name="v-binary"><type name="binary"><length value="0..8"/></type></leaf>
    <leaf name="v-bits"><type name="bits"><bit name="up"/><bit name="down"><position value="4"/></bit><bit name="test"/></type></leaf>
    <leaf name="v-boolean"><type name="boolean"/></leaf>
    <leaf name="v-decimal64"><type name="fz:money"/></leaf>
    <leaf name="v-dec18"><type name="decimal64"><fraction-digits value="18"/></type></leaf>
    <leaf name="v-empty"><type name="empty"/></leaf>
    <leaf name="v-enumeration"><type name="enumeration"><enum name="red"/><enum name="green"><value value="-7"/></enum><enum name="blue"/></type></leaf>
    <leaf name="v-identityref"><type name="identityref"><base name="fz:base-if"/></type></leaf>
    <leaf name="v-instance-identifier"><type name="instance-identifier"/></leaf>
    <leaf name="v-int8"><type name="int8"><range value="-100..-10 | 0 | 10..max"/></type></leaf>
    <leaf name="v-int16"><type name="int16"/></leaf>
    <leaf name="v-int32"><type name="int32"><range value="min..-5 | 5..max"/></type></leaf>
    <leaf name="v-int64"><type name="int64"/></leaf>
    <leaf name="v-leafref"><type name="leafref"><path value="../v-string"/></type></leaf>
    <leaf name="v-string"><type name="fz:label"/></leaf>
    <leaf name="v-uint8"><type name="fz:low-percent"/></leaf>
    <leaf name="v-uint16"><type name="uint16"><range value="1..1000 | 2000..3000"/></type></leaf>
    <leaf name="v-uint32"><type name="uint32"/></leaf>
    <leaf name="v-uint64"><type name="uint64"><range value="10..max"/></type></leaf>
    <leaf name="v-union"><type name="union"><type name="int8"/><type name="fz:label"/><type name="enumeration"><enum name="auto"/></type></type></leaf>
    <leaf name="v-pattern"><type name="string"><pattern value="[0-9]{1,3}(\.[0-9]{1,3}){3}"/><pattern value="0.*"><modifier value="invert-match"/></pattern></type></leaf>
    <action name="reset">
      <input>
        <leaf name="delay"><type name="uint16"/><default value="5"/></leaf>
        <leaf name="reason"><type name="fz:label"/></leaf>
      </input>
    </action>
  </container>
  <rpc name="configure">
    <input>
      <leaf name="name"><type name="fz:label"/><mandatory value="true"/></leaf>
      <leaf name="mode"><type name="enumeration"><enum name="auto"/><enum name="manual"/></type><default value="auto"/></leaf>
      <leaf name="level"><type name="fz:percent"/></leaf>
      <leaf name="price"><type name="fz:money"/></leaf>
      <leaf name="kind"><type name="identityref"><base name="fz:base-if"/></type></leaf>
      <leaf name="flags"><type name="bits"><bit name="a"/><bit name="b"/></type></leaf>
      <container name="opts">
        <leaf name="retries"><type name="uint8"/><default value="3"/></leaf>
        <leaf-list name="tag"><type name="string"/><max-elements value="4"/></leaf-list>
      </container>
      <container name="tuning">
        <presence value="tuning"/>
        <leaf name="gain"><type name="int8"/><default value="1"/></leaf>
        <leaf name="depth"><type name="int8"/><mandatory value="true"/></leaf>
        <must condition="gain &lt;= depth or not(depth)"/>
      </container>
      <choice name="transport">
        <default value="tcp"/>
        <case name="tcp"><leaf name="port"><type name="uint16"/><default value="830"/></leaf></case>
        <case name="udp"><leaf name="dgram"><type name="uint16"/></leaf></case>
      </choice>
      <list name="entry">
        <key value="id"/>
        <min-elements value="0"/>
        <max-elements value="8"/>
        <unique tag="code"/>
        <leaf name="id"><type name="string"/></leaf>
        <leaf name="kind"><type name="string"/><default value="plain"/></leaf>
        <leaf name="code"><type name="string"><pattern value="[A-Z]{2}[0-9]+"/></type></leaf>
        <leaf name="ref"><type name="leafref"><path value="/fz:configure/fz:entry/fz:id"/></type></leaf>
        <leaf name="extra">
          <when condition="../kind = 'rich' and ../../level &gt; 1"/>
          <type name="string"/>
          <default value="x"/>
        </leaf>
        <must condition="id != 'bad' and not(code = 'XX0')">
          <error-message><value>id must not be bad</value></error-message>
          <error-app-tag value="bad-id"/>
        </must>
      </list>
      <list name="pair">
        <key value="k1 k2"/>
        <leaf name="k1"><type name="string"/></leaf>
        <leaf name="k2"><type name="int8"/></leaf>
        <leaf name="v"><type name="int8"/></leaf>
      </list>
      <leaf name="ratio"><type name="uint8"/><must condition=". &lt; 50 and derived-from-or-self(../kind, 'fz:base-if')"/></leaf>
      <anyxml name="blob"/>
    </input>
  </rpc>
  <rpc name="needs">
    <input>
      <container name="limits"><leaf name="max"><type name="uint32"/><mandatory value="true"/></leaf></container>
      <choice name="way">
        <mandatory value="true"/>
        <leaf name="a"><type name="empty"/></leaf>
        <leaf name="b"><type name="empty"/></leaf>
      </choice>
    </input>
  </rpc>
  <notification name="alarm">
    <leaf name="severity"><type name="fz:percent"/></leaf>
    <leaf name="detail"><when condition="../severity &gt; 3"/><type name="string"/></leaf>
    <container name="source">
      <when condition="../severity != 0"/>
      <leaf name="host"><type name="fz:label"/></leaf>
      <leaf-list name="port"><type name="uint16"/></leaf-list>
    </container>
    <list name="item">
      <key value="n"/>
      <leaf name="n"><type name="uint8"/></leaf>
      <leaf name="note"><type name="string"/><default value="none"/></leaf>
    </list>
  </notification>
</module>)yin";

// One context holding this module and the example module family, created on
// first use and kept for the whole run (libFuzzer never returns from its loop).
inline KzCtx *SharedContext()
{
    static KzCtx *ctx = [] {
        KzCtx *c = KZ_CTX_Create(KZ_CTX_OPT_LOAD_IMPORTS);
        if (c == nullptr || KZ_CTX_LoadMemory(c, kModule) != 0 ||
            KZ_CTX_SetSearchDir(c, KORLA_SOURCE_DIR "/examples/yin") != 0 ||
            KZ_CTX_SetSearchDir(c, KORLA_SOURCE_DIR "/examples/yang") != 0) {
            __builtin_trap();
        }
        for (const char *name : {"acme-system-ext", "acme-interfaces", "acme-routing"}) {
            if (KZ_CTX_LoadModule(c, name) != 0) {
                __builtin_trap();
            }
        }
        return c;
    }();
    return ctx;
}

inline void DropMessage(void *, const char *, ...) {}

// Parser complaints about malformed input are expected by the thousand.
inline void SilenceLibxml()
{
    static const bool once = (xmlSetGenericErrorFunc(nullptr, DropMessage), true);
    (void)once;
}

inline std::string AsText(const uint8_t *data, size_t size)
{
    return std::string(reinterpret_cast<const char *>(data), size);
}

} // namespace kzfuzz

#endif

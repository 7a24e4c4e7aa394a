// SPDX-License-Identifier: BSD-2-Clause-Patent
// The interface as a MoCA manager publishes it in the Broadband Forum TR-181
// data model, Device.MoCA.Interface.{i}.: one table maps every result key of the
// module's functions to its parameter and says how its value is converted.
#pragma once

#include <cstdint>
#include <cstdio>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "dump.h"

namespace host::tr181 {

// How a result value becomes a parameter value.
enum class Conv : uint8_t {
    copy,      // as the module gives it (bool, number or text), a number within the row's range
    text,      // a text of at most the row's maximum length
    scale,     // an unsigned number times the row's factor (unit change)
    negate,    // a level given as its magnitude below 0 dBm, published as a negative number
    hex,       // a hexadecimal number as text, published as hexBinary of the row's width
    code_name, // an enumeration code as hexadecimal text, published as the code's name
    name,      // a text that must be one of the enumeration's names
    list,      // comma-separated numbers, each within the row's range
    secret,    // a secured parameter: a read gives the empty string
    extension, // no parameter of the data model: not published
};

struct EnumName {
    uint32_t code;
    const char* name;
};

struct Row {
    const char* function; // the registered function that reports the key
    const char* key;      // its result key
    const char* param;    // relative to Device.MoCA.Interface.{i}.; "{i}" is the entry's Id
    Conv conv = Conv::copy;
    const char* unit = ""; // of the published value
    // Bounds of the published number (of a text: of its length); none when min > max.
    int64_t min = 1;
    int64_t max = 0;
    uint64_t factor = 1;               // scale: the published value is the given one times factor
    uint32_t bytes = 0;                // hex: width of the hexBinary value
    std::span<const EnumName> names{}; // code_name, name
    const char* given_unit = "";       // scale: the unit of the value the module gives
};

std::span<const Row> rows();
const Row* find_param(const std::string& param);

// The row's conversion in words, as the documentation and the warnings give it.
std::string rule(const Row& row);

// The published value of a result value (the plain JSON value, without its
// variant type), or nullopt with *why set when it cannot be published rightly.
std::optional<json> convert(const Row& row, const json& value, std::string* why);

struct Published {
    std::string path; // Device.MoCA.Interface.1....
    json value;
};

// Every parameter the walk lets a manager publish: the entries of the tables that
// hold something (active nodes, cells between nodes of the network, listed flows,
// nodes with bridged addresses, the margin table entries). A value that cannot be
// converted is left out with one line on warnings.
std::vector<Published> view(const DumpRun& run, std::FILE* warnings);

// "path  value" lines, or one flat JSON object of path to value.
void print_view(const DumpRun& run, bool as_json, std::FILE* out, std::FILE* warnings);

// The mapping as Markdown: every row with its conversion, the extensions, and the
// parameters of the data model (the "parameters" object of its definitions) that
// no row supplies.
std::string mapping_doc(const json& parameters);

} // namespace host::tr181

// SPDX-License-Identifier: Apache-2.0
// Replay of recorded vector sets; see the header.
#include "kit/replay.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <stdexcept>

namespace qolsc::test {
namespace {

Field readField(const Json& j) {
    Field f{j.at("arg"),
            j.at("type"),
            j.at("dir"),
            j.value("within", ""),
            j.value("words_of_bits", ""),
            j.at("count"),
            0,
            0,
            j.value("rows", std::size_t{0}),
            j};
    const std::size_t width = elementBytes(f.type);
    f.at = j.contains("at_byte") ? j["at_byte"].get<std::size_t>()
                                 : j.value("at", std::size_t{0}) * width;
    f.offset = j.value("offset", std::size_t{0}) * width;
    return f;
}

Buffer makeBuffer(std::size_t bytes, std::size_t offset = 0, std::size_t skew = 0) {
    Buffer b;
    b.blocks.push_back(makeBlock(bytes, offset, skew));
    return b;
}

Buffer makeRows(std::size_t rows, std::size_t rowBytes) {
    Buffer b;
    b.rowBytes = rowBytes;
    std::vector<void*> addresses;
    for (std::size_t j = 0; j < rows; ++j) {
        b.blocks.push_back(makeBlock(rowBytes, 0, 8 * (j % 3)));
        addresses.push_back(pointerOf(b.blocks.back()));
    }
    b.table = std::make_unique<Block>(makeBlock(rows * sizeof(void*)));
    put(*b.table, 0, addresses.data(), rows * sizeof(void*));
    return b;
}

void* pointer(Buffer& b) { return b.table ? pointerOf(*b.table) : pointerOf(b.blocks[0]); }

void putBytes(Buffer& b, std::size_t at, const Bytes& data) {
    if (!b.table) {
        put(b.blocks[0], at, data.data(), data.size());
        return;
    }
    for (std::size_t i = 0; i < data.size(); ++i) {
        put(b.blocks[(at + i) / b.rowBytes], (at + i) % b.rowBytes, &data[i], 1);
    }
}

Bytes getBytes(const Buffer& b, std::size_t at, std::size_t n) {
    if (!b.table) {
        return get(b.blocks[0], at, n);
    }
    Bytes all;
    for (const Block& row : b.blocks) {
        const Bytes r = get(row, 0, b.rowBytes);
        all.insert(all.end(), r.begin(), r.end());
    }
    return {all.begin() + static_cast<std::ptrdiff_t>(at),
            all.begin() + static_cast<std::ptrdiff_t>(at + n)};
}

void clear(Buffer& b) { std::memset(b.blocks[0].bytes.data, 0, b.blocks[0].bytes.count); }

bool untouchedOutside(const Buffer& b) {
    const auto ok = [](const Block& x) { return intact(x.bytes); };
    return std::all_of(b.blocks.begin(), b.blocks.end(), ok) && (!b.table || ok(*b.table));
}

const Json& argumentsOf(const Replay& r, const std::string& function) {
    return r.meta.at("args").at(function);
}
bool isPointer(const Json& arg) {
    return arg.at("type").get<std::string>().find('*') != std::string::npos;
}
Argument scalar(double v) { return {nullptr, static_cast<std::int64_t>(v), v}; }
Json listOf(const Json& j, const char* key) { return j.value(key, Json::array()); }

Argument literal(const Replay& r, const Json& v, std::vector<Buffer>& keep) {
    if (v.is_null()) {
        return {};
    }
    if (!v.is_object()) {
        return scalar(v.get<double>());
    }
    if (v.contains("bytes")) {
        keep.push_back(makeBuffer(v["bytes"].get<std::size_t>()));
    } else if (v.contains("size_out")) {
        keep.push_back(makeBuffer(r.sizes.at(v["size_out"].get<std::size_t>())));
    } else {
        const Bytes data = encodeValues(v.at("type"), v.at("values"));
        keep.push_back(makeBuffer(data.size()));
        putBytes(keep.back(), 0, data);
    }
    return {pointer(keep.back())};
}

QolStatus callExport(const std::string& name, const std::vector<Argument>& args) {
    const Export* e = findExport(name);
    if (e == nullptr || e->kinds.size() != args.size()) {
        return -1000; // no status of the library: not exported, or another list of arguments
    }
    return e->call(args.data());
}

/// Size query, Init; what is wrong, or nothing.
std::string makeState(Replay& r) {
    const Json& spec = r.meta["state"];
    std::size_t bytes = 0;
    if (spec.contains("size")) {
        std::vector<Qol32s> out(spec.value("size_outs", std::size_t{1}));
        std::vector<Argument> args;
        for (const Json& a : listOf(spec, "size_args")) {
            args.push_back(scalar(a.get<double>()));
        }
        for (Qol32s& o : out) {
            args.push_back({&o});
        }
        if (const QolStatus st = callExport(spec["size"], args); st != 0) {
            return "the size query returned " + std::to_string(st);
        }
        r.sizes.assign(out.begin(), out.end());
        bytes = r.sizes[0];
    } else {
        bytes = spec.at("bytes");
    }
    r.state = std::make_unique<Buffer>(makeBuffer(bytes, 0, spec.value("skew", std::size_t{0})));
    clear(*r.state);
    for (const Json& part : listOf(spec, "fill")) {
        putBytes(*r.state, part.at("at_byte"), encodeValues(part.at("type"), part.at("values")));
    }
    if (!spec.contains("init")) {
        return "";
    }
    r.kept.clear();
    r.kept.reserve(16); // addresses inside are handed over
    std::vector<Argument> args;
    for (const Json& a : spec["init_args"]) {
        args.push_back(a == "$state" ? Argument{pointer(*r.state)} : literal(r, a, r.kept));
    }
    const QolStatus st = callExport(spec["init"], args);
    return st == 0 ? "" : "Init returned " + std::to_string(st);
}

/// A call of `pre` or `post`: names are fields, or outputs of this call.
std::string sideCall(Replay& r, const Json& p, Buffers& bufs, Buffers& outs,
                     std::vector<Buffer>& keep) {
    const std::string name = p.at("function");
    std::vector<Argument> args;
    for (std::size_t i = 0; i < p.at("args").size(); ++i) {
        const Json &v = p["args"][i], &arg = argumentsOf(r, name).at(i);
        if (v == "$state") {
            args.push_back({pointer(*r.state)});
        } else if (!v.is_string()) {
            args.push_back(literal(r, v, keep));
        } else if (Buffer& b = outs.contains(v) ? outs.at(v) : bufs.at(v); isPointer(arg)) {
            args.push_back({pointer(b)});
        } else {
            const std::string type = arg["type"];
            const bool plain = type.starts_with("Qol") && std::isdigit(type[3]);
            args.push_back(
                scalar(number(elementOf(plain ? type.substr(3) : "32s"), b.blocks[0].bytes.data)));
        }
    }
    const QolStatus got = callExport(name, args);
    const bool wrong = p.contains("status") ? got != p["status"].get<int>() : got < 0;
    return wrong ? name + " returned " + std::to_string(got) : "";
}

using Values = std::map<std::string, double>;

bool equal(const Field& f, const Element& e, const std::uint8_t* got, const std::uint8_t* want,
           double largest, const Values& values) {
    const double a = number(e, got), b = number(e, want);
    if (!f.within.empty()) {
        return std::fabs(a - b) <= values.at(f.within);
    }
    if (f.raw.contains("abs_tol")) {
        return std::fabs(a - b) <= f.raw["abs_tol"].get<double>();
    }
    if (f.raw.contains("mask")) {
        const auto x = static_cast<std::int64_t>(a), y = static_cast<std::int64_t>(b);
        return ((x ^ y) & f.raw["mask"].get<std::int64_t>()) == 0;
    }
    if (e.kind == 'f') {
        return std::fabs(a - b) <= f.raw.value("tol", 1e-5) * largest;
    }
    return std::memcmp(got, want, e.width) == 0;
}

std::string compare(const Field& f, const Bytes& got, const Bytes& want, const Values& values) {
    const Element e = elementOf(f.type);
    std::size_t n = f.count * e.parts;
    if (!f.wordsOfBits.empty()) {
        const double perWord = static_cast<double>(8 * e.width);
        n = std::min(n, static_cast<std::size_t>(std::ceil(values.at(f.wordsOfBits) / perWord)));
    }
    double largest = 1e-30;
    for (std::size_t i = 0; i < n; ++i) {
        largest = std::max(largest, std::fabs(number(e, &want[i * e.width])));
    }
    for (std::size_t i = 0; i < n; ++i) {
        const std::uint8_t *a = &got[i * e.width], *b = &want[i * e.width];
        if (!equal(f, e, a, b, largest, values)) {
            return f.arg + "[" + std::to_string(i) + "] (byte " + std::to_string(f.at) +
                   " on) is " + std::to_string(number(e, a)) + ", recorded " +
                   std::to_string(number(e, b));
        }
    }
    return "";
}

/// Buffers of one record's call, inputs filled in.
void fillBuffers(const Replay& r, const std::vector<Bytes>& data, Buffers& bufs) {
    std::map<std::string, bool> pointerArgument;
    for (const Json& a : argumentsOf(r, r.name)) {
        pointerArgument[a.at("name")] = isPointer(a);
    }
    for (std::size_t k = 0; k < r.fields.size(); ++k) { // what only the calls before and after take
        const Field& f = r.fields[k];
        if (f.arg == "return" || pointerArgument.contains(f.arg) ||
            (f.dir == "out" && bufs.contains(f.arg))) {
            continue;
        }
        bufs[f.arg] = f.rows ? makeRows(f.rows, f.bytes() / f.rows) : makeBuffer(f.bytes());
        if (f.dir == "in") {
            putBytes(bufs[f.arg], 0, data[k]);
        }
    }
    for (const auto& [arg, isPtr] : pointerArgument) {
        std::size_t need = 0, offset = 0, rows = 0;
        for (const Field& f : r.fields) {
            if (f.arg == arg) {
                need = std::max(need, f.at + f.bytes());
                offset = std::max(offset, f.offset);
                rows = std::max(rows, f.rows);
            }
        }
        if (!isPtr || need == 0) {
            continue;
        }
        Buffer& b = bufs[arg] =
            rows ? makeRows(rows, need / rows) : makeBuffer(std::max(need, offset), offset);
        for (std::size_t k = 0; k < r.fields.size(); ++k) {
            if (r.fields[k].arg == arg && r.fields[k].dir == "in") {
                putBytes(b, r.fields[k].at, data[k]);
            }
        }
    }
}

Argument argumentFor(Replay& r, const Json& a, const std::vector<Bytes>& data, Buffers& bufs,
                     std::vector<Buffer>& keep) {
    const std::string arg = a.at("name");
    const Json nulls = listOf(r.meta, "null");
    if (r.meta.contains("state") && r.meta["state"].at("arg") == arg) {
        return {pointer(*r.state)};
    }
    if (std::find(nulls.begin(), nulls.end(), arg) != nulls.end()) {
        return {};
    }
    if (r.meta.contains("constants") && r.meta["constants"].contains(arg)) {
        return literal(r, r.meta["constants"][arg], keep);
    }
    if (r.meta.contains("scratch") && r.meta["scratch"].contains(arg)) {
        const Json& size = r.meta["scratch"][arg];
        bufs[arg] = makeBuffer(size.is_object() ? r.sizes.at(size["size_out"].get<std::size_t>())
                                                : size.get<std::size_t>());
        return {pointer(bufs[arg])};
    }
    if (r.memory.contains(arg)) {
        return {pointer(r.memory[arg])};
    }
    if (isPointer(a)) {
        return {pointer(bufs.at(arg))};
    }
    for (std::size_t k = 0; k < r.fields.size(); ++k) {
        if (r.fields[k].arg == arg && r.fields[k].dir == "in") {
            return scalar(number(elementOf(r.fields[k].type), data[k].data()));
        }
    }
    throw std::runtime_error("argument " + arg + " has no value");
}

/// The buffer in which a field of the call lies.
const Buffer& bufferOf(const Replay& r, const Buffers& bufs, const std::string& arg) {
    const bool inState = r.meta.contains("state") && r.meta["state"].at("arg") == arg;
    return r.memory.contains(arg) ? r.memory.at(arg) : inState ? *r.state : bufs.at(arg);
}

/// Compares what a record's call left behind.
std::string compareOutputs(Replay& r, std::size_t record, QolStatus got,
                           const std::vector<Bytes>& data, const Buffers& bufs,
                           const Values& values) {
    const std::size_t cases = r.meta["cases"];
    for (std::size_t k = 0; k < r.fields.size(); ++k) {
        const Field& f = r.fields[k];
        if (f.dir != "out") {
            continue;
        }
        const Element e = elementOf(f.type);
        if (f.arg == "return") {
            if (got != number(e, data[k].data())) {
                return "status " + std::to_string(got);
            }
            continue;
        }
        const Bytes out = getBytes(bufferOf(r, bufs, f.arg), f.at, f.bytes());
        if (const std::string problem = compare(f, out, data[k], values); !problem.empty()) {
            return problem;
        }
        if (f.raw.contains("snr_db") && record < f.raw.value("snr_cases", cases)) {
            auto& [signal, error] = r.noise[f.arg];
            for (std::size_t i = 0; i < f.count * e.parts; ++i) {
                const double x = number(e, &out[i * e.width]), y = number(e, &data[k][i * e.width]);
                signal += y * y;
                error += (x - y) * (x - y);
            }
        }
    }
    return "";
}

void collectOutputs(const Replay& r, QolStatus got, const Buffers& bufs, Bytes& outputs) {
    outputs.push_back(static_cast<std::uint8_t>(got));
    for (const Field& f : r.fields) {
        if (f.dir == "out" && f.arg != "return" && elementOf(f.type).kind != 'f') {
            const Bytes out = getBytes(bufferOf(r, bufs, f.arg), f.at, f.bytes());
            outputs.insert(outputs.end(), out.begin(), out.end());
        }
    }
}

/// State and memories as the record needs them.
std::string prepare(Replay& r) {
    const bool sequence = r.meta.value("sequence", false);
    if (r.meta.contains("state") && (!r.state || !sequence)) {
        if (const std::string problem = makeState(r); !problem.empty()) {
            return problem;
        }
    }
    if (!sequence) {
        r.memory.clear();
    }
    const Json memory = r.meta.value("memory", Json::object());
    for (const auto& [arg, size] : memory.items()) {
        if (!r.memory.contains(arg)) {
            r.memory[arg] = makeBuffer(size.get<std::size_t>());
            clear(r.memory[arg]);
        }
    }
    return "";
}

} // namespace

std::string replayRecord(Replay& r, std::size_t record, const std::vector<Bytes>& data,
                         bool compare, Bytes* outputs) {
    if (const std::string problem = prepare(r); !problem.empty()) {
        return problem;
    }
    Values values;
    for (std::size_t k = 0; k < r.fields.size(); ++k) {
        if (r.fields[k].count == 1) {
            values[r.fields[k].arg] = number(elementOf(r.fields[k].type), data[k].data());
        }
    }
    Buffers bufs, outs;
    std::vector<Buffer> keep;
    keep.reserve(64); // addresses inside are handed over
    fillBuffers(r, data, bufs);
    std::string problem;
    for (const Json& p : listOf(r.meta, "pre")) {
        const Json cases = p.value("cases", Json::array({record}));
        if (problem.empty() && std::find(cases.begin(), cases.end(), Json(record)) != cases.end()) {
            problem = sideCall(r, p, bufs, outs, keep);
        }
    }
    std::vector<Argument> args;
    for (const Json& a : argumentsOf(r, r.name)) {
        args.push_back(argumentFor(r, a, data, bufs, keep));
    }
    const QolStatus got = callExport(r.name, args);
    for (const Json& p : listOf(r.meta, "post")) {
        for (const Json& o : listOf(p, "outs")) {
            outs[o.at("out")] =
                makeBuffer(elementBytes(o.at("type")) * o.at("count").get<std::size_t>());
        }
        problem = problem.empty() ? sideCall(r, p, bufs, outs, keep) : problem;
    }
    for (auto& [n, b] : outs) {
        bufs[n] = std::move(b);
    }
    if (compare && problem.empty() && got != r.meta.value("status", got >= 0 ? got : 0)) {
        problem = "status " + std::to_string(got);
    }
    problem =
        compare && problem.empty() ? compareOutputs(r, record, got, data, bufs, values) : problem;
    if (outputs != nullptr) {
        collectOutputs(r, got, bufs, *outputs);
    }
    for (const auto& [n, b] : bufs) {
        if (problem.empty() && !untouchedOutside(b)) {
            problem = "written outside " + n;
        }
    }
    return problem.empty() && r.state && !untouchedOutside(*r.state)
               ? "written outside the state record"
               : problem;
}

Replay openSet(const std::filesystem::path& path, const std::string& name) {
    Replay r;
    r.name = name;
    std::ifstream(path) >> r.meta;
    std::ifstream in(std::filesystem::path(path).replace_extension(".bin"), std::ios::binary);
    r.blob.assign(std::istreambuf_iterator<char>(in), {});
    for (const Json& j : r.meta.at("fields")) {
        r.fields.push_back(readField(j));
    }
    return r;
}

namespace {
std::size_t recordBytes(const Replay& r) {
    std::size_t bytes = 0;
    for (const Field& f : r.fields) {
        bytes += f.bytes();
    }
    return bytes;
}
} // namespace

std::size_t caseCount(const Replay& r) {
    const std::size_t cases = r.meta.at("cases");
    return recordBytes(r) * cases == r.blob.size() ? cases : 0;
}

std::vector<Bytes> recordData(const Replay& r, std::size_t record) {
    std::vector<Bytes> data;
    auto pos = r.blob.begin() + static_cast<std::ptrdiff_t>(record * recordBytes(r));
    for (const Field& f : r.fields) {
        const auto end = pos + static_cast<std::ptrdiff_t>(f.bytes());
        data.emplace_back(pos, end);
        pos = end;
    }
    return data;
}

std::string replaySet(const std::filesystem::path& path, const std::string& name) {
    Replay r = openSet(path, name);
    const std::size_t cases = caseCount(r);
    if (cases == 0) {
        return "the data have another size than the description";
    }
    for (std::size_t record = 0; record < cases; ++record) {
        if (const std::string problem = replayRecord(r, record, recordData(r, record));
            !problem.empty()) {
            return "record " + std::to_string(record) + ": " + problem;
        }
    }
    for (const Field& f : r.fields) {
        if (f.raw.contains("snr_db") && r.noise.contains(f.arg)) {
            const auto [signal, error] = r.noise[f.arg];
            const double db = error > 0 ? 10 * std::log10(signal / error) : INFINITY;
            if (db < f.raw["snr_db"].get<double>()) {
                return f.arg + ": signal to error " + std::to_string(db) + " dB";
            }
        }
    }
    return "";
}

std::vector<std::filesystem::path> findSets(const std::filesystem::path& dir) {
    std::vector<std::filesystem::path> sets;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(dir)) {
        if (entry.path().extension() == ".json" &&
            entry.path().parent_path().filename() == "vectors") {
            sets.push_back(entry.path());
        }
    }
    std::sort(sets.begin(), sets.end());
    return sets;
}

std::vector<std::string> exportsOf(const std::filesystem::path& set) {
    Json meta;
    std::ifstream(set) >> meta;
    std::vector<std::string> names{meta.at("function")};
    for (const Json& also : listOf(meta, "also")) {
        names.push_back(also);
    }
    return names;
}

} // namespace qolsc::test

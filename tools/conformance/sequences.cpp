// SPDX-License-Identifier: Apache-2.0
// The rules, as the standards name their test sequences, and the search for the files.
#include "conformance/sequences.h"

#include "failure.h"

#include <algorithm>
#include <cctype>
#include <map>

namespace qolsc::tools::conformance {

namespace {

namespace fs = std::filesystem;

/// Both directions of a coded file: input to bits, bits to output.
void bothWays(std::vector<Rule>& all, Rule rule, const std::string& input, const std::string& bits,
              const std::string& output) {
    rule.task = Task::encode;
    rule.input = input;
    rule.expected = bits;
    all.push_back(rule);
    rule.task = Task::decode;
    rule.input = bits;
    rule.expected = output;
    all.push_back(rule);
}

/// ITU-T G.722 Appendix II, and the speech of the software tool library.
void addG722(std::vector<Rule>& all) {
    for (const char* n : {"1", "2"}) {
        all.push_back({"G.722", "bands", "g722-64", Task::subBandEncode, "", "",
                       std::string("bt1c") + n + ".xmt", std::string("bt2r") + n + ".cod"});
    }
    for (const char* input : {"bt2r1.cod", "bt2r2.cod", "bt1d3.cod"}) {
        const std::string n(1, input[4]);
        for (const char* mode : {"1", "2", "3"}) {
            all.push_back({"G.722", "bands", "g722-64", Task::subBandLow, mode, "", input,
                           "bt3l" + n + ".rc" + mode});
        }
        all.push_back(
            {"G.722", "bands", "g722-64", Task::subBandHigh, "1", "", input, "bt3h" + n + ".rc0"});
    }
    const Rule codec{"G.722", "", "g722-64", Task::decode, "words", "", "codspw.cod", ""};
    bothWays(all, codec, "inpsp.bin", "codspw.cod", "outsp1.bin");
    for (const auto& [name, output] :
         {std::pair{"g722-56", "outsp2.bin"}, std::pair{"g722-48", "outsp3.bin"}}) {
        Rule lower = codec;
        lower.codec = name;
        lower.expected = output;
        all.push_back(lower);
    }
}

void addG7221(std::vector<Rule>& all) {
    for (const auto& [codec, star] :
         {std::pair{"g7221-24", "*7k_24"}, std::pair{"g7221-32", "*7k_32"},
          std::pair{"g7221c-24", "*14k_24"}, std::pair{"g7221c-32", "*14k_32"},
          std::pair{"g7221c-48", "*14k_48"}}) {
        const std::string name = star;
        const Rule rule{
            "G.722.1", codec[5] == 'c' ? "Annex C" : "", codec, Task::encode, "swapped", "", "",
            ""};
        bothWays(all, rule, name + ".pcm", name + ".bits", name + ".out");
    }
}

/// The names tell the rate, H the input filter, P the post filter, DTX Annex A.
void addG7231(std::vector<Rule>& all) {
    for (const auto& [codec, rate] : {std::pair{"g7231-6.3", "63"}, std::pair{"g7231-5.3", "53"}}) {
        const std::string r = rate;
        const auto add = [&](Task task, const std::string& input, const std::string& expected,
                             bool filters, bool dtx = false) {
            Rule rule{"G.723.1", dtx ? "Annex A" : "", codec, task, "packed", "", input, expected};
            rule.filters = filters;
            rule.dtx = dtx;
            all.push_back(rule);
        };
        add(Task::encode, "*c" + r + "h.tin", "*c" + r + "h.rco", true);
        add(Task::encode, "*c" + r + ".tin", "*c" + r + ".rco", false);
        add(Task::decode, "*d" + r + ".tco", "*d" + r + ".rou", false);
        add(Task::decode, "*d" + r + "p.tco", "*d" + r + "p.rou", true);
        for (const char* input : {".tin", "mix.tin"}) {
            add(Task::encode, "dtx" + r + input, "dtx" + r + ".rco", true, true);
        }
        for (const char* input : {"*.rco", "*.tco"}) {
            add(Task::decode, "dtx" + r + input, "dtx" + r + "*.rou", true, true);
        }
    }
}

/// ITU-T G.726 Appendix II: r starts from reset, h from the initialisation sequence; n is a normal
/// level, v overload, i all codes; the last letter is the law: a, m, x (A to mu), c (mu to A).
void addG726(std::vector<Rule>& all, const std::string& rate, bool homing, Law law) {
    const bool a = law == Law::alaw;
    const std::string own = a ? "a" : "m", other = a ? "m" : "a", start = homing ? "h" : "r";
    const auto add = [&](Task task, const std::string& input, const std::string& expected,
                         Law outerLaw, const std::string& initialisation) {
        all.push_back({"G.726", rate + " kbit/s", "g726-" + rate, task, "words", "", input,
                       expected, outerLaw, homing ? initialisation : ""});
    };
    const std::string toOwn = "i_ini_" + rate + "." + own, toOther = "i_ini_" + rate + "." + other;
    for (const auto& [kind, input] : {std::pair{"n", "nrm."}, std::pair{"v", "ovr."}}) {
        const std::string stem = start + kind + rate + "f", codes = stem + own + ".i";
        add(Task::encode, input + own, codes, law, "pcm_init." + own);
        add(Task::decode, codes, stem + own + ".o", law, toOwn);
        add(Task::decode, codes, stem + (a ? "x.o" : "c.o"), a ? Law::mulaw : Law::alaw, toOther);
    }
    add(Task::decode, "i" + rate, start + "i" + rate + "f" + own + ".o", law, toOwn);
}

/// ITU-T G.728 Annex G.
void addG728(std::vector<Rule>& all) {
    Rule rule{"G.728", "Annex G", "g728-16", Task::encode, "words", "", "in*.bin", "incw*g.bin"};
    all.push_back(rule);
    rule.task = Task::decode;
    rule.input = "cw*.bin";
    rule.expected = "cw*post.bin";
    all.push_back(rule);
    rule.expected = "outa*g.bin";
    rule.filters = false;
    all.push_back(rule);
}

void addG729(std::vector<Rule>& all) {
    const auto rule = [](const char* part, const char* codec, const char* folder) {
        return Rule{"G.729", part, codec, Task::decode, "serial", folder, "", ""};
    };
    bothWays(all, rule("", "g729", "main"), "*.in", "*.bit", "*.pst");
    bothWays(all, rule("Annex A", "g729a", "annexa"), "*.in", "*.bit", "*.pst");
    // Annex B: tstseqN belongs to the main body, tstseqNa to Annex A.
    for (const auto& [codec, suffix] : {std::pair{"g729", ""}, std::pair{"g729a", "a"}}) {
        for (const char* n : {"1", "2", "3", "4", "5", "6"}) {
            const std::string plain = std::string("tstseq") + n, stem = plain + suffix;
            Rule r = rule("Annex B", codec, "annexb");
            r.dtx = true;
            bothWays(all, r, plain + ".bin", stem + ".bit", stem + ".out");
            if (*suffix != 0) { // a stream of decoder tests serves both
                all.push_back(all.back());
                all.back().input = plain + ".bit";
            }
        }
    }
    Rule d = rule("Annex D", "g729-6.4", "annexd");
    bothWays(all, d, "testfile.raw", "testmid.1", "testout.1");
    Rule e = rule("Annex E", "g729-11.8", "annexe");
    bothWays(all, e, "*.118", "*.bit", "*.pst");
    e.rates = Rates::g729Switch;
    e.task = Task::encode;
    e.input = "switch.xxx";
    e.expected = "switch.bit";
    all.push_back(e);
    for (const char* rate : {"10", "12"}) {
        Rule i = rule("Annex I", "g729-11.8", "annexi");
        i.input = std::string("*.b") + rate;
        i.expected = std::string("*.o") + rate;
        all.push_back(i);
    }
}

/// GSM 06.10 Annex C, and its frames of 33 octets.
void addGsm(std::vector<Rule>& all) {
    const Rule rule{"GSM full rate", "", "gsmfr", Task::encode, "words", "", "", ""};
    bothWays(all, rule, "seq*.inp", "seq*.cod", "seq*.out");
    Rule packed = rule;
    packed.form = "packed";
    bothWays(all, packed, "*.inp", "*.gsm", "*_gsmfr.out");
}

/// Storage files by the index of their rate, and the sequence that comes with 3GPP TS 26.073.
void addAmr(std::vector<Rule>& all) {
    for (const auto& [codec, index] :
         {std::pair{"amr-4.75", "0"}, std::pair{"amr-5.15", "1"}, std::pair{"amr-5.90", "3"},
          std::pair{"amr-6.70", "6"}, std::pair{"amr-7.40", "7"}, std::pair{"amr-7.95", "8"},
          std::pair{"amr-10.2", "11"}, std::pair{"amr-12.2", "12"}}) {
        for (const bool dtx : {false, true}) {
            const std::string stem = std::string("*_rate") + index + (dtx ? "_dtx" : "");
            Rule rule{"AMR", dtx ? "DTX" : "", codec, Task::encode, "file", "", "", ""};
            rule.dtx = dtx;
            bothWays(all, rule, "*.inp", stem + ".amr", stem + ".out");
        }
    }
    Rule rule{"AMR", "", "amr-12.2", Task::encode, "serial", "", "", ""};
    rule.rates = Rates::amrAllModes;
    rule.dtx = true;
    bothWays(all, rule, "spch_dos.inp", "spch_dos.cod", "spch_dos.out");
    rule.rates = Rates::fixed;
    rule.task = Task::decode;
    rule.folder = "amr";
    rule.input = "*.cod";
    rule.expected = "*.out";
    all.push_back(rule);
}

/// 3GPP TS 26.174; d marks discontinuous transmission in names that tell it.
void addAmrWb(std::vector<Rule>& all) {
    constexpr const char* kCodecs[] = {"amrwb-6.60",  "amrwb-8.85",  "amrwb-12.65",
                                       "amrwb-14.25", "amrwb-15.85", "amrwb-18.25",
                                       "amrwb-19.85", "amrwb-23.05", "amrwb-23.85"};
    for (std::size_t mode = 0; mode < std::size(kCodecs); ++mode) {
        for (const char* suffix : {"", "d"}) {
            const std::string stem = "*_m" + std::to_string(mode) + suffix;
            Rule rule{"AMR-WB", "", kCodecs[mode], Task::encode, "serial", "", "", ""};
            rule.dtx = true;
            bothWays(all, rule, "*.inp", stem + ".cod", stem + ".out");
        }
    }
}

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

/// A file as the rules see it.
struct File {
    fs::path path;
    std::string name;                 ///< without case
    std::vector<std::string> folders; ///< those above it, without case
};

/// The file's name in the rule's folder; empty where it isn't in there.
std::string nameIn(const std::string& folder, const File& file) {
    if (folder.empty()) {
        return file.name;
    }
    if (file.name.starts_with(folder + "_")) {
        return file.name.substr(folder.size() + 1);
    }
    const bool inside = std::any_of(file.folders.begin(), file.folders.end(),
                                    [&](const std::string& f) { return f.ends_with(folder); });
    return inside ? file.name : "";
}

/// What stands for the star; null where the name doesn't fit.
bool matches(const std::string& pattern, const std::string& name, std::string& star) {
    const std::size_t at = pattern.find('*');
    if (at == std::string::npos) {
        return pattern == name;
    }
    const std::string head = pattern.substr(0, at), tail = pattern.substr(at + 1);
    if (name.size() < head.size() + tail.size() || !name.starts_with(head) ||
        !name.ends_with(tail)) {
        return false;
    }
    star = name.substr(at, name.size() - head.size() - tail.size());
    return true;
}

std::vector<File> filesBelow(const fs::path& folder) {
    std::vector<File> files;
    std::error_code error;
    for (fs::recursive_directory_iterator at(folder, error), end; !error && at != end;
         at.increment(error)) {
        if (at->is_regular_file(error)) {
            File file{at->path(), lower(at->path().filename()), {}};
            for (const fs::path& part : fs::relative(at->path().parent_path(), folder)) {
                file.folders.push_back(lower(part));
            }
            files.push_back(file);
        }
    }
    if (error) {
        fail(folder.string() + ": " + error.message());
    }
    std::sort(files.begin(), files.end(),
              [](const File& a, const File& b) { return a.path < b.path; });
    return files;
}

/// The file of that name that is nearest: in the folder of the other one, else the first anywhere.
const File* find(const std::vector<File>& files, const std::string& folder, const std::string& name,
                 const fs::path& beside) {
    const File* found = nullptr;
    for (const File& file : files) {
        if (nameIn(folder, file) != name) {
            continue;
        }
        if (file.path.parent_path() == beside) {
            return &file;
        }
        found = found == nullptr ? &file : found;
    }
    return found;
}

void addSequence(std::vector<Sequence>& found, const std::vector<File>& files, const Rule& rule,
                 const File& input, const std::string& star) {
    std::string expectedName = rule.expected;
    if (const std::size_t at = expectedName.find('*'); at != std::string::npos) {
        expectedName.replace(at, 1, star);
    }
    const fs::path beside = input.path.parent_path();
    const File* expected = find(files, rule.folder, expectedName, beside);
    if (expected == nullptr) {
        return;
    }
    Sequence sequence{&rule, input.path, expected->path, {}, {}};
    for (const auto& [name, path] :
         {std::pair{rule.initialisation, &sequence.initialisation},
          std::pair{std::string(rule.rates == Rates::g729Switch ? "switch" : ""),
                    &sequence.rates}}) {
        if (!name.empty()) {
            const File* more = find(files, rule.folder, name, beside);
            if (more == nullptr) {
                return;
            }
            *path = more->path;
        }
    }
    found.push_back(sequence);
}

} // namespace

const std::vector<Rule>& rules() {
    static const std::vector<Rule> all = [] {
        std::vector<Rule> r;
        addG722(r);
        addG7221(r);
        addG7231(r);
        for (const char* rate : {"16", "24", "32", "40"}) {
            for (const bool homing : {false, true}) {
                addG726(r, rate, homing, Law::alaw);
                addG726(r, rate, homing, Law::mulaw);
            }
        }
        addG728(r);
        addG729(r);
        addGsm(r);
        addAmr(r);
        addAmrWb(r);
        return r;
    }();
    return all;
}

std::vector<Sequence> findSequences(const fs::path& folder) {
    const std::vector<File> files = filesBelow(folder);
    std::vector<Sequence> found;
    for (const Rule& rule : rules()) {
        const Codec* codec = findCodec(rule.codec);
        if (codec == nullptr || (rule.task == Task::encode && rule.dtx && !codec->hasDtx)) {
            continue;
        }
        for (const File& file : files) {
            std::string star;
            const std::string name = nameIn(rule.folder, file);
            if (!name.empty() && matches(rule.input, name, star)) {
                addSequence(found, files, rule, file, star);
            }
        }
    }
    return found;
}

} // namespace qolsc::tools::conformance

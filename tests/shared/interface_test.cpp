// SPDX-License-Identifier: Apache-2.0
// Sweep over the whole interface, from the list of arguments and checks in
// tests/data/interface/checks.json: every pointer null in turn, every size, range and enumerated
// value just outside, two failures at once. The status must be the documented one and no byte
// within reach may change.
#include "kit/block.h"
#include "kit/exports.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <dlfcn.h>

#include <fstream>
#include <set>

namespace qolsc::test {
namespace {

using Json = nlohmann::json;

constexpr std::size_t kReach = 64 * 1024; // more than any valid call touches in either direction
constexpr std::size_t kRows = 512;

const Json& checks() {
    static const Json all = [] {
        Json j;
        std::ifstream(dataPath("interface/checks.json")) >> j;
        return j;
    }();
    return all;
}

/// Arguments of one call: every pointer leads into the middle of a wide block, arrays of rows to
/// rows of that kind.
struct Call {
    std::vector<std::vector<std::uint8_t>> memory;
    std::vector<Argument> args;
};

void* wideBlock(Call& c) {
    c.memory.emplace_back(2 * kReach, std::uint8_t{0});
    return c.memory.back().data() + kReach;
}

Call makeCall(const Json& entry) {
    Call c;
    c.memory.reserve(entry["args"].size() * 2);
    for (const Json& a : entry["args"]) {
        const std::string type = a["type"];
        if (type.find("**") != std::string::npos) {
            void* row = wideBlock(c);
            auto** table = static_cast<void**>(wideBlock(c));
            std::fill(table, table + kRows, row);
            c.args.push_back({table});
        } else if (type.find('*') != std::string::npos) {
            c.args.push_back({wideBlock(c)});
        } else {
            const double v = a.value("valid", 0.0);
            c.args.push_back({nullptr, static_cast<std::int64_t>(v), v});
        }
    }
    return c;
}

void apply(Call& c, const Json& entry, const Json& set) {
    for (std::size_t i = 0; i < entry["args"].size(); ++i) {
        if (set.contains(entry["args"][i]["name"])) {
            const double v = set[entry["args"][i]["name"].get<std::string>()];
            c.args[i] = {nullptr, static_cast<std::int64_t>(v), v};
        }
    }
}

/// Calls and expects a status with everything in reach as it was.
void expectRefusal(const Json& entry, Call& c, QolStatus want, bool unchanged = true) {
    const auto before = c.memory;
    const QolStatus got = findExport(entry["name"].get<std::string>())->call(c.args.data());
    EXPECT_EQ(got, want);
    EXPECT_TRUE(!unchanged || c.memory == before) << "memory changed";
}

template <typename F>
void forEachExport(F&& f) {
    for (const Json& entry : checks()) {
        const Export* e = findExport(entry["name"].get<std::string>());
        if (e != nullptr) {
            SCOPED_TRACE(entry["name"].get<std::string>());
            ASSERT_EQ(e->kinds.size(), entry["args"].size());
            f(entry);
        }
    }
}

TEST(Interface, EveryRequiredPointerNullInTurn) {
    forEachExport([](const Json& entry) {
        for (std::size_t i = 0; i < entry["args"].size(); ++i) {
            const Json& a = entry["args"][i];
            if (a.value("null", "") != "err") {
                continue;
            }
            SCOPED_TRACE(a["name"].get<std::string>());
            Call c = makeCall(entry);
            c.args[i] = {};
            expectRefusal(entry, c, qolStsNullPtrErr);
        }
    });
}

TEST(Interface, EveryBadArgument) {
    forEachExport([](const Json& entry) {
        for (const Json& bad : entry["bad"]) {
            SCOPED_TRACE(bad["set"].dump());
            Call c = makeCall(entry);
            apply(c, entry, bad["set"]);
            expectRefusal(entry, c, bad["status"], bad["unchanged"]);
        }
    });
}

TEST(Interface, NullPointerComesBeforeOtherFailures) {
    forEachExport([](const Json& entry) {
        if (!entry["nullFirst"]) {
            return;
        }
        for (const Json& bad : entry["bad"]) {
            SCOPED_TRACE(bad["set"].dump());
            for (std::size_t i = 0; i < entry["args"].size(); ++i) {
                if (entry["args"][i].value("null", "") == "err") {
                    Call c = makeCall(entry);
                    apply(c, entry, bad["set"]);
                    c.args[i] = {};
                    expectRefusal(entry, c, qolStsNullPtrErr);
                    break;
                }
            }
        }
    });
}

TEST(Interface, SizesAreThePublishedOnes) {
    forEachExport([](const Json& entry) {
        for (const Json& check : entry["sizes"]) {
            SCOPED_TRACE(check.dump());
            Call c = makeCall(entry);
            apply(c, entry, check["in"]);
            EXPECT_EQ(findExport(entry["name"].get<std::string>())->call(c.args.data()),
                      qolStsNoErr);
            for (const auto& [arg, want] : check["out"].items()) {
                for (std::size_t i = 0; i < entry["args"].size(); ++i) {
                    if (entry["args"][i]["name"].get<std::string>() == arg) {
                        EXPECT_EQ(*static_cast<Qol32s*>(c.args[i].pointer), want.get<int>()) << arg;
                    }
                }
            }
        }
    });
}

TEST(Interface, ExportsAndCellsAreInTheLibrary) {
    void* library = dlopen(QOLSC_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    std::set<std::string> known;
    for (const Json& entry : checks()) {
        known.insert(entry["name"].get<std::string>());
    }
    for (const Export& e : allExports()) {
        const std::string name(e.name);
        void* jump = dlsym(library, name.c_str());
        auto** cell = static_cast<void**>(dlsym(library, (name + "_arraddr").c_str()));
        ASSERT_NE(jump, nullptr) << name;
        ASSERT_NE(cell, nullptr) << name;
        EXPECT_NE(*cell, nullptr) << name;
        EXPECT_NE(*cell, jump) << name;
        EXPECT_TRUE(known.contains(name) || name == "qolscGetLibVersion")
            << name << " has no entry in checks.json";
    }
    dlclose(library);
}

TEST(Interface, VersionRecord) {
    const QolLibraryVersion* v = qolscGetLibVersion();
    EXPECT_EQ(v, qolscGetLibVersion());
    EXPECT_TRUE(v->major == 8 && v->minor == 2 && v->update == 1 && v->build == 44077);
    EXPECT_EQ(std::string(v->targetCpu, 4), std::string("e9\0\0", 4));
    EXPECT_STREQ(v->name, "qolSC AVX (e9 threaded)");
    EXPECT_STREQ(v->version, "8.2.1 (r44077)");
    EXPECT_STREQ(v->buildDate, "Oct  9 2014");
    EXPECT_EQ(sizeof(QolLibraryVersion), 48u);
    EXPECT_EQ(qolJumpIndexForMergedDLL, 1); // this machine has AVX, or the tests would not run
}

} // namespace
} // namespace qolsc::test

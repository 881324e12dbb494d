// SPDX-License-Identifier: Apache-2.0
// Processor features, cache size, aligned allocation and thread count.
#include "qolcore.h"

#include <cpuid.h>
#include <omp.h>
#include <stdlib.h>
#include <unistd.h>

#pragma GCC visibility push(default)

namespace {

constexpr unsigned kOsxsave = 1u << 27;
constexpr unsigned kXmmYmmState = 6; // XCR0: the system saves SSE and AVX registers

Qol64u g_features; // written by every detection with the same value
int g_detected;

unsigned readXcr0() {
    unsigned eax, edx;
    __asm__("xgetbv" : "=a"(eax), "=d"(edx) : "c"(0));
    return eax;
}

Qol64u detect(unsigned regs[4]) {
    if (!__get_cpuid(1, &regs[0], &regs[1], &regs[2], &regs[3])) {
        return 0;
    }
    const unsigned ecx = regs[2], edx = regs[3];
    const struct {
        unsigned reg, bit, feature;
    } known[] = {{edx, 23, qolCpuMmx},
                 {edx, 26, qolCpuSse2},
                 {ecx, 9, qolCpuSsse3},
                 {ecx, 20, qolCpuSse42},
                 {ecx, 28, qolCpuAvx}};
    Qol64u mask = 0;
    for (const auto& k : known) {
        mask |= (k.reg >> k.bit & 1u) ? k.feature : 0u;
    }
    if ((ecx & kOsxsave) && (readXcr0() & kXmmYmmState) == kXmmYmmState) {
        mask |= qolCpuAvxEnabled;
    }
    return mask;
}

// Cache size in bytes by the deterministic cache leaves (4: Intel, 0x8000001D: AMD), 0 when neither
// answers.
long cacheSizeByCpuid() {
    long largest = 0;
    constexpr unsigned kCacheLeaves[] = {4, 0x8000001D};
    for (const unsigned leaf : kCacheLeaves) {
        for (unsigned sub = 0; sub < 16; ++sub) {
            unsigned a, b, c, d;
            if (!__get_cpuid_count(leaf, sub, &a, &b, &c, &d) || (a & 31u) == 0) {
                break;
            }
            const long ways = long(b >> 22) + 1, parts = long(b >> 12 & 1023u) + 1,
                       line = long(b & 4095u) + 1;
            const long size = ways * parts * line * (long(c) + 1);
            largest = size > largest ? size : largest;
        }
    }
    return largest;
}

} // namespace

extern "C" {

int qolGetCpuFeatures(Qol64u* pFeatures, Qol32u* pCpuid) noexcept {
    unsigned regs[4] = {};
    const Qol64u mask = detect(regs);
    __atomic_store_n(&g_features, mask, __ATOMIC_RELAXED);
    __atomic_store_n(&g_detected, 1, __ATOMIC_RELEASE);
    if (pFeatures) {
        *pFeatures = mask;
    }
    for (int i = 0; pCpuid && i < 4; ++i) {
        pCpuid[i] = regs[i];
    }
    return 0;
}

Qol64u qolGetEnabledCpuFeatures() noexcept {
    if (!__atomic_load_n(&g_detected, __ATOMIC_ACQUIRE)) {
        qolGetCpuFeatures(nullptr, nullptr);
    }
    return __atomic_load_n(&g_features, __ATOMIC_RELAXED);
}

int qolGetMaxCacheSizeB(int* pSize) noexcept {
    if (!pSize) {
        return -8;
    }
    long size = cacheSizeByCpuid();
    constexpr int kNames[] = {_SC_LEVEL3_CACHE_SIZE, _SC_LEVEL2_CACHE_SIZE};
    for (const int name : kNames) {
        if (size <= 0) {
            size = sysconf(name);
        }
    }
    if (size <= 0) {
        return -1;
    }
    *pSize = size > 0x7FFFFFFF ? 0x7FFFFFFF : int(size);
    return 0;
}

void* qolMalloc(int bytes) noexcept {
    void* p = nullptr;
    return bytes > 0 && posix_memalign(&p, 64, size_t(bytes)) == 0 ? p : nullptr;
}

void qolFree(void* p) noexcept { free(p); }

int ownGetNumThreads() noexcept { return omp_get_max_threads(); }

} // extern "C"

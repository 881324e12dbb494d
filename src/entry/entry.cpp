// SPDX-License-Identifier: Apache-2.0
// Cells and jumps: an export is one indirect jump through its cell, arguments and result untouched.
#include "entry/entries.h"

// The jump addresses the cell by its hidden name, which needs no relocation in text; NAME_arraddr
// is the same cell for the world. Cells are writable data on purpose: an application may interpose
// a function by storing into one.
#define QOLSC_ENTRY(name)                                                                          \
    extern "C" {                                                                                   \
    extern decltype(&::name) name##_cell;                                                          \
    __attribute__((used, visibility("hidden"))) decltype(&::name) name##_cell = &qolsc::name;      \
    extern decltype(&::name) name##_arraddr                                                        \
        __attribute__((alias(#name "_cell"), visibility("default")));                              \
    }                                                                                              \
    __asm__(".pushsection .text\n"                                                                 \
            "\t.p2align 4\n"                                                                       \
            "\t.globl " #name "\n"                                                                 \
            "\t.type " #name ", @function\n" #name ":\n"                                           \
            "\tjmp *" #name "_cell(%rip)\n"                                                        \
            "\t.size " #name ", .-" #name "\n"                                                     \
            "\t.popsection\n");
#include "entry/entries.def"
#undef QOLSC_ENTRY

// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0
//
// What a program that was compiled with -fsanitize-coverage=trace-pc has run through: a byte for
// each address, in one file for each of its modules under $OXA_REACH. The files are shared memory,
// so that forked and killed processes count as well.

#define _GNU_SOURCE
#include <dlfcn.h>
#include <fcntl.h>
#include <limits.h>
#include <link.h>
#include <stdatomic.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

enum { kMaxModules = 128 };

struct Module {
    uintptr_t begin;
    uintptr_t end;
    unsigned char* map;
};

static struct Module sModules[kMaxModules];
static atomic_int sCount;
static atomic_flag sBusy = ATOMIC_FLAG_INIT;
static _Thread_local int sLast;

static unsigned char* mapOf(const char* name, size_t size) {
    char program[PATH_MAX] = "";
    if (name[0] == '\0' && readlink("/proc/self/exe", program, sizeof(program) - 1) > 0)
        name = program;
    const char* slash = strrchr(name, '/');
    char path[PATH_MAX];
    snprintf(path, sizeof(path), "%s/%s", getenv("OXA_REACH"), slash != NULL ? slash + 1 : name);
    const int file = open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (file < 0) return NULL;
    void* map = MAP_FAILED;
    if (ftruncate(file, (off_t)size) == 0)
        map = mmap(NULL, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    return map != MAP_FAILED ? map : NULL;
}

// A module whose file cannot be made is known, too, so that nobody tries again.
static void addModuleOf(uintptr_t address) {
    struct dl_find_object found;
    const int count = atomic_load(&sCount);
    if (count == kMaxModules || _dl_find_object((void*)address, &found) != 0) return;
    struct Module* module = &sModules[count];
    module->begin = (uintptr_t)found.dlfo_map_start;
    module->end = (uintptr_t)found.dlfo_map_end;
    module->map = mapOf(found.dlfo_link_map->l_name, module->end - module->begin);
    atomic_store(&sCount, count + 1);
}

static int isMarked(const struct Module* module, uintptr_t address) {
    if (address < module->begin || address >= module->end) return 0;
    if (module->map != NULL && !module->map[address - module->begin])
        module->map[address - module->begin] = 1;
    return 1;
}

// The compiler calls it in each basic block.
void __sanitizer_cov_trace_pc(void) {
    const uintptr_t address = (uintptr_t)__builtin_return_address(0);
    if (isMarked(&sModules[sLast], address)) return;
    const int count = atomic_load(&sCount);
    for (int i = 0; i < count; ++i) {
        if (!isMarked(&sModules[i], address)) continue;
        sLast = i;
        return;
    }
    // What comes while another thread adds a module is marked the next time.
    if (getenv("OXA_REACH") == NULL || atomic_flag_test_and_set(&sBusy)) return;
    addModuleOf(address);
    atomic_flag_clear(&sBusy);
}

/* SPDX-License-Identifier: MIT */
/* unload_host.c - a host without windows, for cycles alone. Plain C, so that the language's run time comes with
 * the module. */
#include "examples/Cycles.h"

int main(int argc, char** argv)
{
    return argc == 3 ? RunCycles(argv[1], atoi(argv[2])) : 2;
}

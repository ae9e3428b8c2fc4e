/* SPDX-License-Identifier: MIT */
/* empty_module.c - the least that can be loaded. */
__attribute__((visibility("default"))) int Answer(void);
int Answer(void) { return 42; }

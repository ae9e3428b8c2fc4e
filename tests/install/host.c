/* SPDX-License-Identifier: MIT */
/* host.c - a host that knows what is installed alone: it loads the module beside the library. */
#include <veltrano/Host.h>

#include <stdio.h>

int main(void)
{
    VeltranoModuleRef module = VeltranoOpenModule(NULL);
    VeltranoCloseModule(module);
    if (module == NULL)
        fprintf(stderr, "no module beside the library\n");
    return module == NULL;
}

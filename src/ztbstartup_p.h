// SPDX-License-Identifier: MIT
//
// What start-up shares with the library's lifecycle.

#ifndef ZTBSTARTUP_P_H
#define ZTBSTARTUP_P_H

// Stops and unloads the dependency library, if ztbStartup loaded it.
void ztbDependencyShutdown();

#endif

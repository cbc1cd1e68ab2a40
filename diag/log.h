#pragma once
// The one log of the module, shared by every process of a user.

// Levels 0 debug, 1 info, 2 notice, 3 warn, 4 error, 5 fatal; the caller passes 0 to 5.
void LogPrint(int level, const char* format, ...) __attribute__((format(gnu_printf, 2, 3)));

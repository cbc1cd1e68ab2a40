#pragma once
// Whether this host process is on one of the lists that change how frames are delivered.
// The lists are read anew at each call, from the user's application-data folder.
#include <string>
#include <vector>

bool isHostInObsProcessList();
bool isHostInFlipList();
bool isHostInLimitedRgbList();

// The rows of a list file (UTF-8, a byte order mark skipped), or of `defaults` when the file
// is missing or holds no text.
std::vector<std::string> readHostList(const std::wstring& path, const std::string& defaults);

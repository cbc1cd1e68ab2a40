#pragma once
// Folder helpers shared by the host lists and the application launch.
#include <string>

// The user's roaming application-data folder.
std::wstring getAppDataFolder();

// `folder` and `name` with exactly one backslash between them.
std::wstring joinPath(const std::wstring& folder, const std::wstring& name);

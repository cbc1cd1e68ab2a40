#pragma once
// Conversions between wide text and the system's ANSI code page, in which the log keeps its paths.
#include <string>

std::string toAnsi(const std::wstring& text);
std::wstring fromAnsi(const std::string& text);

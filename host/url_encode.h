#pragma once
#include <string>

// Percent-encodes the UTF-8 form of `text`: ASCII letters, digits and "." stay, every other
// byte becomes "%" and two upper-case hex digits ("-" and "_" included).
std::wstring urlEncode(const std::wstring& text);

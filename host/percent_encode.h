#pragma once
#include <string>

// ASCII letters, digits and "." stay; every other byte up to the first zero byte becomes "%"
// and two upper-case hex digits ("-" and "_" included).
std::string percentEncode(const std::string& bytes);

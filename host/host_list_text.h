#pragma once
// The text of a host list file, apart from where the file lies and how it is read.
#include <string>
#include <vector>

// Lower-cased as the C locale does it; rows and the host's path are compared so.
std::string lowerCased(std::string text);

// Rows of a list's text: split at commas, blanks trimmed, lower-cased, empty rows dropped.
std::vector<std::string> parseHostList(const std::string& text);

// The rows of a list file's bytes (UTF-8, a byte order mark skipped), or of `defaults` when
// the file holds no text.
std::vector<std::string> hostListRows(const std::string& fileBytes, const std::string& defaults);

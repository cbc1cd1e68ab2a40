#include "host/host_list_text.h"

#include <algorithm>
#include <cctype>

std::string lowerCased(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

std::vector<std::string> parseHostList(const std::string& body) {
  std::vector<std::string> rows;
  size_t start = 0;
  while (start <= body.size()) {
    size_t comma = body.find(',', start);
    if (comma == std::string::npos) comma = body.size();
    std::string row = body.substr(start, comma - start);
    size_t first = row.find_first_not_of(' ');
    size_t last = row.find_last_not_of(' ');
    if (first != std::string::npos) rows.push_back(lowerCased(row.substr(first, last - first + 1)));
    start = comma + 1;
  }
  return rows;
}

std::vector<std::string> hostListRows(const std::string& fileBytes, const std::string& defaults) {
  const std::string body =
      fileBytes.compare(0, 3, "\xEF\xBB\xBF") == 0 ? fileBytes.substr(3) : fileBytes;
  return parseHostList(body.empty() ? defaults : body);
}

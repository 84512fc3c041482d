#include "printable.h"

#include <utf8.h>

#include <iterator>

namespace television {

namespace {

template <typename T>
std::vector<T> eachPrintable(const std::vector<T>& elements) {
    std::vector<T> valid;
    for (const T& element : elements) valid.push_back(printable(element));
    return valid;
}

}  // namespace

std::string printable(const std::string& text) {
    std::string valid;
    utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(valid));
    return valid;
}

std::vector<std::string> printable(const std::vector<std::string>& texts) { return eachPrintable(texts); }

std::vector<std::vector<std::string>> printable(const std::vector<std::vector<std::string>>& rows) {
    return eachPrintable(rows);
}

}  // namespace television

#pragma once

#include <rapidjson/reader.h>
#include <set>
#include <string>
#include <vector>

namespace kest::disk {

// Whether the text is lines of one JSON object each, in UTF-8, in which no key stands twice: judged by a parser that is
// not ours.
class json_judge : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, json_judge> {
public:
    bool StartObject() {
        m_keys.emplace_back();
        return true;
    }
    bool Key(const char* key, rapidjson::SizeType size, bool) { return m_keys.back().emplace(key, size).second; }
    bool EndObject(rapidjson::SizeType) {
        m_keys.pop_back();
        return true;
    }
    bool Default() { return !m_keys.empty(); }  // no value stands alone

private:
    std::vector<std::set<std::string>> m_keys;
};

inline bool is_json_lines(const std::string& text) {
    for (std::size_t begin = 0, end = 0; begin != text.size(); begin = end + 1) {
        end = text.find('\n', begin);
        if (end == text.npos) return false;
        const std::string line = text.substr(begin, end - begin);
        if (line.find('\0') != line.npos) return false;  // the parser would stop there
        rapidjson::StringStream stream(line.c_str());
        rapidjson::Reader reader;
        json_judge judge;
        if (!reader.Parse<rapidjson::kParseValidateEncodingFlag>(stream, judge)) return false;
    }
    return true;
}

}  // namespace kest::disk

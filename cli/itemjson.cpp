#include "cli/itemjson.h"

namespace cli {

namespace {

std::optional<PmString> ParseName(const Json& json) {
  if (json.contains("name16")) {
    const std::optional<Bytes> bytes = FromBase64(json.at("name16").get<std::string>());
    if (!bytes || bytes->size() % 2 != 0)
      throw std::invalid_argument("\"name16\" is not base64 of code units");
    PmString name;
    for (size_t i = 0; i < bytes->size(); i += 2)
      name.push_back(static_cast<PmChar>((*bytes)[i] | (*bytes)[i + 1] << 8));
    return name;
  }
  if (!json.contains("name") || json.at("name").is_null()) return std::nullopt;
  return FromUtf8(json.at("name").get<std::string>());  // the parser accepts UTF-8 only
}

// What the parser says, without the number that it gives its complaints.
std::string Complaint(const std::exception& error) {
  const std::string what = error.what();
  const size_t end = what.rfind("[json.", 0) == 0 ? what.find("] ") : std::string::npos;
  return end == std::string::npos ? what : what.substr(end + 2);
}

Record ParseRecord(const Json& json) {
  if (json.contains("error")) throw std::invalid_argument("an error stopped the export that wrote this");
  const std::optional<uint32_t> id =
      json.contains("id") ? ParseNumber(json.at("id").get<std::string>()) : std::optional<uint32_t>(0);
  if (!id || (*id == 0 && json.contains("id"))) throw std::invalid_argument("\"id\" is no item ID");
  if (!json.at("kind").is_number_unsigned() || json.at("kind").get<uint64_t>() > UINT32_MAX)
    throw std::invalid_argument("\"kind\" is no 32-bit number");
  const std::optional<PmString> name = ParseName(json);
  if (name && name->find(PmChar{0}) != PmString::npos)
    throw std::invalid_argument("the name holds a zero character");
  return {*id, json.at("kind").get<uint32_t>(), name};
}

// Reads a line with `read`, and says of which one it complains.
template <typename Read>
auto ReadLine(const std::string& line, size_t number, const char* what, const char* writer, Read read) {
  try {
    return read(Json::parse(line));
  } catch (const std::exception& error) {
    throw Failure(
        ExitCode::kUsage, fmt::format("line {} is no {}: {}", number, what, Complaint(error)),
        fmt::format("Nothing was stored. Each line is to be an object as \"pmstore {}\" writes it.", writer));
  }
}

}  // namespace

void AddName(Json& json, const std::optional<PmString>& name) {
  if (!name || IsWellFormed(*name)) {
    json["name"] = name ? Json(ToUtf8(*name)) : Json();
    return;
  }
  Bytes units;
  for (const auto unit : *name) {
    units.push_back(static_cast<uint8_t>(unit));
    units.push_back(static_cast<uint8_t>(unit >> 8));
  }
  json["name16"] = ToBase64(units);
}

Json ToJson(const Record& record) {
  Json json{{"id", IdText(record.id)}, {"kind", record.kind}};
  AddName(json, record.name);
  return json;
}

Json ToJson(const Record& record, const Bytes& bytes) {
  Json json = ToJson(record);
  json["data"] = ToBase64(bytes);
  return json;
}

ItemLine ParseItemLine(const std::string& line, size_t number) {
  return ReadLine(line, number, "item", "export --jsonl", [](const Json& json) {
    Record record = ParseRecord(json);
    std::optional<Bytes> bytes = FromBase64(json.at("data").get<std::string>());
    if (!bytes) throw std::invalid_argument("\"data\" is not base64");
    return ItemLine{std::move(record), std::move(*bytes)};
  });
}

std::pair<std::string, Record> ParseManifestLine(const std::string& line, size_t number) {
  return ReadLine(line, number, "entry of the list", "export", [](const Json& json) {
    return std::pair(json.at("file").get<std::string>(), ParseRecord(json));
  });
}

}  // namespace cli

#include "tests/support/support.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "plugin/report_list.h"

namespace vesk::test {

std::int32_t ReportBytes::type() const {
  const auto report = std::ranges::find(kReports, _id, &ListedReport::id);
  return report == kReports.end() ? kFeature : report->type;
}

std::unique_ptr<HIDReportVeskPlugin> makePlugin(bool decimal) {
  auto plugin = HIDReportVeskPlugin::init();
  const char* const options[] = {"-decimal"};
  if (decimal && !plugin->parseArgs(1, options)) ADD_FAILURE() << "-decimal was refused";
  return plugin;
}

Result decode(ReportBytes report, bool useStrings, bool decimal) {
  const auto plugin = makePlugin(decimal);
  plugin->setUseStrings(useStrings);
  return plugin->reportToObject(report.data(), report.id(), report.type(), report.length());
}

Lines linesOf(const Result& result) {
  Lines lines;
  if (result.lines() == nullptr) {
    ADD_FAILURE() << "no lines";
    return lines;
  }
  for (std::size_t i = 0; i < result.lines()->size(); ++i) lines.emplace_back((*result.lines())[i]);
  return lines;
}

Lines linesOf(const ReportBytes& report, bool decimal) {
  return linesOf(decode(report, true, decimal));
}

ReportObject objectOf(const ReportBytes& report, bool decimal) {
  const Result result = decode(report, false, decimal);
  if (result.object() != nullptr) return *result.object();
  ADD_FAILURE() << "no object";
  return ReportObject("");
}

namespace {

template <class T>
T valueAt(const ReportObject& object, std::string_view key, T otherwise) {
  const auto value = object.find(key);
  if (!value || !std::holds_alternative<T>(*value)) {
    ADD_FAILURE() << "no such value under " << key;
    return otherwise;
  }
  return std::get<T>(*value);
}

std::string quoted(std::string_view text) {
  std::string out = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    char hex[5];
    std::snprintf(hex, sizeof hex, "\\x%02x", byte);
    if (c == '"' || c == '\\')
      (out += '\\') += c;
    else if (c == '\n')
      out += "\\n";
    else if (c == '\r')
      out += "\\r";
    else if (c == '\t')
      out += "\\t";
    else if (byte < 0x20 || byte == 0x7F)
      out += hex;
    else
      out += c;
  }
  return out + '"';
}

const char* nameOf(Kind kind) {
  switch (kind) {
    case Kind::Bool:
      return "bool";
    case Kind::UnsignedChar:
      return "unsigned char";
    case Kind::UnsignedShort:
      return "unsigned short";
    case Kind::UnsignedInt:
      return "unsigned int";
    case Kind::Int:
      return "int";
    case Kind::LongLong:
      return "long long";
    case Kind::UnsignedLongLong:
      return "unsigned long long";
    case Kind::Float:
      return "float";
    case Kind::Double:
      return "double";
  }
  std::abort();
}

std::string valueOf(const Number& number) {
  char text[64];
  if (number.isReal()) {
    if (std::isnan(number.real())) return "nan";
    std::snprintf(
        text, sizeof text, number.kind() == Kind::Float ? "%.9g" : "%.17g", number.real());
  } else if (number.isSigned()) {
    std::snprintf(text, sizeof text, "%lld", static_cast<long long>(number.bits()));
  } else {
    std::snprintf(text, sizeof text, "%llu", static_cast<unsigned long long>(number.bits()));
  }
  return text;
}

std::string entry(const Number& number) {
  return std::string(nameOf(number.kind())) + ' ' + valueOf(number);
}

std::string entry(std::string_view text) { return "string " + quoted(text); }

std::string entry(const NumberSpan& span) {
  std::string out = std::string("array of ") + nameOf(span.kind()) + ':';
  for (std::size_t i = 0; i < span.size(); ++i) out += ' ' + valueOf(span[i]);
  return out;
}

}  // namespace

Number numberAt(const ReportObject& object, std::string_view key) {
  return valueAt(object, key, Number(false));
}

std::string stringAt(const ReportObject& object, std::string_view key) {
  return std::string(valueAt(object, key, std::string_view()));
}

NumberSpan arrayAt(const ReportObject& object, std::string_view key) {
  return valueAt(object, key, NumberSpan(Kind::Bool, nullptr, 0));
}

std::string listing(const Result& result) {
  if (result.isNil()) return "nil\n";
  if (result.lines() != nullptr) return std::string(result.lines()->text());
  const ReportObject& object = *result.object();
  if (object.isString()) return entry(object.string()) + '\n';
  std::string out = "dictionary " + std::to_string(object.size()) + '\n';
  for (std::size_t i = 0; i < object.size(); ++i) {
    const auto value = std::visit([](const auto& v) { return entry(v); }, object.value(i));
    out += quoted(object.key(i)) + ' ' + value + '\n';
  }
  return out;
}

std::string captureOutput(const std::function<void()>& run) {
  std::fflush(stdout);
  std::FILE* const file = std::tmpfile();
  const int saved = dup(STDOUT_FILENO);
  dup2(fileno(file), STDOUT_FILENO);
  run();
  std::fflush(stdout);
  dup2(saved, STDOUT_FILENO);
  close(saved);
  std::string text;
  std::rewind(file);
  for (int c; (c = std::getc(file)) != EOF;) text += static_cast<char>(c);
  std::fclose(file);
  return text;
}

}  // namespace vesk::test

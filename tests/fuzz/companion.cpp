// Whatever stands in the files that qvxctl reads, it says so in characters that command no terminal
// and in JSON that can be read.
#include <nlohmann/json.hpp>

#include "companion/findings.h"
#include "companion/log_view.h"
#include "companion/show.h"
#include "tests/fuzz/input.h"
#include "tests/harness/installation.h"

namespace qvx::test {
namespace {

constexpr const char* kFiles[] = {"conf/qvxpd.xml",     "conf/qvxpd.conf", "bin/php.ini",
                                  "conf/ralolist.map",  "webapp/a.xml",    "logs/httpd.pid",
                                  "../tls/cert.pem",    "../tls/file.pem", "kept/1.xml",
                                  "conf/mod_proxy.conf"};

void RequireIsHarmless(const std::string& text) {
  for (const char character : text) {
    Require(character == '\n' || static_cast<uint8_t>(character) >= ' ');
  }
}

void RequireIsJson(const nlohmann::ordered_json& json) {
  const std::string text = companion::JsonText(json, 2);
  RequireIsHarmless(text);
  Require(nlohmann::ordered_json::accept(text));
}

}  // namespace

void Check(Input input) {
  static const Installation installation;
  for (const char* const file : kFiles) {
    WriteText(installation.base() / file, input.Text());
  }
  const companion::Forecast forecast = companion::Foretell();
  const auto findings = companion::CheckAll(forecast, installation.base() / "kept");
  companion::Page page(false);
  companion::ShowFindings(findings, forecast.document_path, page);
  companion::ShowAdmission(companion::Admit(forecast, "10.0.0.5"), "now", page);
  companion::Show(forecast, findings, page);
  companion::ShowChanges(forecast, page);
  for (const RingRecord& record : companion::LogReader({}).NewRecords(input.Rest())) {
    page.Line(companion::RecordLine(record, page));
    RequireIsJson(nlohmann::ordered_json::parse(companion::RecordAsJsonLine(record)));
  }
  RequireIsHarmless(page.text());
  RequireIsJson(companion::FindingsAsJson(findings));
  RequireIsJson(companion::ShowAsJson(forecast, findings));
  RequireIsJson(companion::ChangesAsJson(forecast));
}

}  // namespace qvx::test

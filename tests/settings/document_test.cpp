#include "settings/document.h"

#include <gtest/gtest.h>

#include "dom/handles.h"
#include "settings/multihomed_names.h"
#include "support/malloc_owner.h"
#include "tests/settings/fresh_machine.h"

namespace qvx::test {
namespace {

namespace fs = std::filesystem;

// The name of the base directory holds no ".": such directories are not made.
TEST(SettingsDocument, DefaultIsWrittenWhereNoneIs) {
  OnFreshMachine([] {
    const Variable base("SYSMGTZX_BASE_DIR", "/tmp/zxqvx");
    const fs::path file = "/tmp/zxqvx/conf/qvxpd.xml";
    EXPECT_EQ(CheckQVXXML(0), 0U);
    EXPECT_EQ(Contents(file), QVX_XML_DEFAULT);
    WriteText(file, "other settings");
    EXPECT_EQ(CheckQVXXML(0), 0U);
    EXPECT_EQ(Contents(file), "other settings");
    EXPECT_EQ(CheckQVXXML(1), 0U);
    EXPECT_EQ(Contents(file), QVX_XML_DEFAULT);
    const Variable too_long("SYSMGTZX_BASE_DIR", "/tmp/other" + std::string(4071, '/'));
    EXPECT_EQ(CheckQVXXML(0), 1U);
    EXPECT_FALSE(fs::exists("/tmp/other"));
  });
}

TEST(SettingsDocument, ValuesAreTakenChangedAndSaved) {
  const TempDirectory directory;
  const std::string path = directory.path() / "settings";
  WriteText(path, R"(<?xml version="1.0" encoding="UTF-8"?>
<v><group><twice>nested</twice></group>
<twice>later</twice><blank> True</blank><empty></empty><element><inner/></element>
<parts name="p">a&amp;b<i/>c</parts></v>)");
  const DocumentHolder document = NewDocument();
  ASSERT_EQ(DOM_DocumentLS_load(document.get(), path.c_str()), 1);
  const struct {
    const char* element;
    const char* value;
  } rows[] = {{"twice", "nested"},  {"blank", " True"}, {"empty", ""},
              {"element", nullptr}, {"parts", "a&b"},   {"none", nullptr}};
  for (const auto& row : rows) {
    EXPECT_STREQ(GetElementValue(document.get(), row.element), row.value) << row.element;
  }
  const MallocOwner<char> attribute(GetElementAttributeValue(document.get(), "parts", "name"));
  EXPECT_STREQ(attribute.get(), "p");
  EXPECT_EQ(GetElementAttributeValue(document.get(), "none", "name"), nullptr);

  for (const char* element : {"twice", "empty", "parts"}) {
    EXPECT_EQ(SetElementValue(document.get(), path.c_str(), element, "new"), 0);
  }
  EXPECT_EQ(Contents(path), R"(<?xml version="1.0"?>
<v><group><twice>new</twice></group>
<twice>later</twice><blank> True</blank><empty>new</empty><element><inner/></element>
<parts name="p">new<i/>c</parts></v>
)");
  const std::string other = directory.path() / "other";
  EXPECT_EQ(SetElementValue(document.get(), "/none/none", "empty", "x"), 1);
  EXPECT_EQ(SetElementValue(document.get(), other.c_str(), "none", "x"), 1);
  EXPECT_EQ(SetElementValue(document.get(), other.c_str(), "empty", nullptr), 1);
  EXPECT_EQ(SetElementValue(document.get(), other.c_str(), nullptr, "x"), 1);
  EXPECT_EQ(SetElementValue(document.get(), nullptr, "empty", "x"), 1);
  EXPECT_EQ(GetElementValue(document.get(), nullptr), nullptr);
  EXPECT_EQ(GetElementAttributeValue(document.get(), "parts", nullptr), nullptr);
  EXPECT_FALSE(fs::exists(other));
}

TEST(MultihomedNames, FromTheSettingsDocument) {
  const Installation installation;
  const fs::path file = installation.base() / "conf/qvxpd.xml";
  EXPECT_EQ(ParseMultiHomed(), nullptr);
  EXPECT_FALSE(fs::exists(file)) << "it is only read";
  const struct {
    const char* name;
    const char* document;
    const char* names;
  } rows[] = {
      {"all that is allowed", "<v><multihomed>host1;h.example.net;10.0.0.5;A-b_Z9</multihomed></v>",
       "host1;h.example.net;10.0.0.5;A-b_Z9"},
      {"empty", "<v><multihomed></multihomed></v>", ""},
      {"comma", "<v><multihomed>host1,host2</multihomed></v>", nullptr},
      {"left out", "<v/>", nullptr},
      {"not well-formed", "<v><multihomed>host1</multihomed>", nullptr}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    WriteText(file, row.document);
    EXPECT_STREQ(MallocOwner<char>(ParseMultiHomed()).get(), row.names);
    EXPECT_EQ(Contents(file), row.document);
  }
}

TEST(MultihomedNames, AddressEntries) {
  for (const char* entry : {"192.168.100.200", "1.2.3.4.5"}) {
    EXPECT_EQ(isTheValueAnIP(entry), 1) << entry;
  }
  for (const char* entry : {"", "10.0.0.1a", "1:2", ".10.0.0.1", "1.2.3.4.5.", "1234567890123"}) {
    EXPECT_EQ(isTheValueAnIP(entry), 0) << entry;
  }
  EXPECT_EQ(isTheValueAnIP(nullptr), 0);
  EXPECT_EQ(ValidateMultiHomed(nullptr), 0);
}

TEST(SettingsDocument, ComparisonToleratesMissingTexts) {
  EXPECT_EQ(stricmp_chk("TRUE", "True"), 0);
  EXPECT_EQ(stricmp_chk(nullptr, "True"), 1);
  EXPECT_EQ(stricmp_chk("True", nullptr), 1);
}

}  // namespace
}  // namespace qvx::test

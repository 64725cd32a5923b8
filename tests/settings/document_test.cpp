#include "settings/document.h"

#include "dom/handles.h"
#include "log/ring_log.h"
#include "settings/multihomed_names.h"
#include "settings/reader.h"
#include "settings/record.h"
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
  EXPECT_STREQ(GetElementValue(document.get(), "twice"), "nested");
  EXPECT_STREQ(GetElementValue(document.get(), "blank"), " True");
  EXPECT_STREQ(GetElementValue(document.get(), "empty"), "");
  EXPECT_EQ(GetElementValue(document.get(), "element"), nullptr);
  EXPECT_STREQ(GetElementValue(document.get(), "parts"), "a&b");
  EXPECT_EQ(GetElementValue(document.get(), "none"), nullptr);
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
  EXPECT_EQ(SetElementValue(document.get(), nullptr, "empty", "x"), 1);
  EXPECT_EQ(SetElementValue(document.get(), other.c_str(), "none", "x"), 1);
  EXPECT_EQ(SetElementValue(document.get(), other.c_str(), "empty", nullptr), 1);
  EXPECT_EQ(SetElementValue(document.get(), other.c_str(), nullptr, "x"), 1);
  EXPECT_EQ(GetElementValue(document.get(), nullptr), nullptr);
  EXPECT_EQ(GetElementAttributeValue(document.get(), "parts", nullptr), nullptr);
  EXPECT_FALSE(fs::exists(other));
}

TEST(MultihomedNames, FromTheSettingsDocument) {
  const Installation installation;
  const fs::path file = installation.base() / "conf/qvxpd.xml";
  EXPECT_EQ(ParseMultiHomed(), nullptr);
  EXPECT_FALSE(fs::exists(file)) << "it is only read";
  const auto names_in = [&](const char* document) {
    WriteText(file, document);
    const MallocOwner<char> names(ParseMultiHomed());
    EXPECT_EQ(Contents(file), document);
    return names == nullptr ? "none" : std::string(names.get());
  };
  EXPECT_EQ(names_in("<v><multihomed>host1;h.example.net;10.0.0.5;A-b_Z9</multihomed></v>"),
            "host1;h.example.net;10.0.0.5;A-b_Z9");
  EXPECT_EQ(names_in("<v><multihomed></multihomed></v>"), "");
  EXPECT_EQ(names_in("<v><multihomed>host1,host2</multihomed></v>"), "none");
  EXPECT_EQ(names_in("<v/>"), "none");
  EXPECT_EQ(names_in("<v><multihomed>host1</multihomed>"), "none");
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

TEST(ExampleDocument, GivesTheSettingsThatItSays) {
  const Installation installation;
  SetupLogsAndDebug(nullptr);
  WriteText(SettingsPath(), Contents(QVX_EXAMPLE).value_or(""));
  const DocumentHolder document = NewDocument();
  ASSERT_EQ(LoadSettings(document.get()), LoadResult::kRead);
  LoadedSettings settings = RecordedSettings();
  ReadAccessSettings(document.get(), settings);
  ReadServerSettings(document.get(), settings);

  EXPECT_TRUE(settings.restrict_clients);
  EXPECT_STREQ(settings.included_clients, "10.1.0.0-10.1.255.255");
  EXPECT_STREQ(settings.excluded_clients, "10.1.0.13");
  EXPECT_TRUE(settings.bind_to_selected);
  EXPECT_STREQ(settings.binding_list, "10.1.0.0/255.255.0.0");
  EXPECT_FALSE(settings.bind_to_wildcard);
  EXPECT_EQ(MultihomedNames(), "console1;console1.example.net;10.1.0.5");
  EXPECT_EQ(settings.max_threads, 32);
  EXPECT_TRUE(settings.refuse_ssl2);
  EXPECT_EQ(settings.log_level, "warn");
  EXPECT_STREQ(settings.log_directory, "/var/spool/opt/zx/zxqvx");
  EXPECT_TRUE(settings.rotate_logs);
  EXPECT_EQ(settings.rotate_size, 10);
  EXPECT_EQ(Contents(QvxLogFile), std::nullopt) << "nothing is refused";
}

}  // namespace
}  // namespace qvx::test

#include <gtest/gtest.h>

#include "dom/handles.h"
#include "log/ring_log.h"
#include "settings/document.h"
#include "settings/multihomed_names.h"
#include "settings/reader.h"
#include "settings/record.h"
#include "tests/harness/installation.h"

namespace qvx::test {

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
  EXPECT_EQ(Contents(installation.base() / "logs/qvx.log"), std::nullopt);  // nothing refused
}

}  // namespace qvx::test

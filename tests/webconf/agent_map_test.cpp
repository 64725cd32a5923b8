#include "webconf/agent_map.h"

#include <gtest/gtest.h>

#include "tests/harness/installation.h"

namespace qvx::test {

TEST(AgentMap, IsEmptiedAndProtected) {
  const Installation installation;
  const std::filesystem::path file = installation.base() / "conf/ralolist.map";
  WriteText(file, "agent http://10.0.0.5\n");
  EXPECT_EQ(WriteRALOListMapFile(), 0);
  EXPECT_EQ(Contents(file), "");
  EXPECT_EQ(ModeOf(file), 0660U);
  EXPECT_EQ(OwnerOf(file), ServiceOwner());
}

TEST(AgentMap, CannotBeMadeWithoutItsDirectory) {
  const Installation installation;
  std::filesystem::remove(installation.base() / "conf");
  EXPECT_EQ(WriteRALOListMapFile(), 1);
}

}  // namespace qvx::test

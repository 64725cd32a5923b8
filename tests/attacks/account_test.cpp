// What the service account may try to become root, to read the key, or to stop a start.
#include <gtest/gtest.h>

#include "tests/attacks/scenes.h"

namespace qvx::test {
namespace {

TEST(ServiceAccount, SessionDirectoryIsALinkToAFolderOfRoots) {
  const auto script = [](const std::string& attack) {
    return R"(
good_pair; chmod 700 $admin; mkdir -p $base/session/php
)" + attack +
           "\nstat -c '%U:%G %a' $admin; ls $admin";
  };
  Play({{"session/php", script(R"(
rmdir $base/session/php; chown zxqvx $base/session; account ln -s $admin $base/session/php
launch)"),
         "daemon\nroot:root 700\n"},
        {"session", script(R"(
rm -r $base/session; chown zxqvx $base; account ln -s $admin $base/session; launch)"),
         "daemon\nroot:root 700\n"},
        {"while it is protected", script(R"(
chown -R zxqvx $base/session; account ln -s $admin $base/session/php.other
in_background zxqvx attacker exchange $base/session/php
for run in {1..8}; do launch >/dev/null; done; end_background)"),
         "root:root 700\n"}});
}

}  // namespace
}  // namespace qvx::test

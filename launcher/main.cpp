#include "launcher/launcher.h"

int main(int argument_count, char*[]) {
  return qvx::RunLauncher(argument_count);
}

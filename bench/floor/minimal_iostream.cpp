// The floor of the start-up benchmark: the least that a dynamically linked C++ program does to
// print the licence notice of vorlancli on standard error. bench/run checks that the texts are
// equal.
#include <iostream>

int main() {
  std::cerr << "  VORLAN License\n"
               "  =============\n"
               "\n"
               "  The VORLAN license conditions are included in the distro as\n"
               "  \tvorlan-eula.pdf\n"
               "  and can additionally be found at \n"
               "  \thttps://vorlan.example/license\n";
}

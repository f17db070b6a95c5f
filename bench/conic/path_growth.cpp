// bench_path_growth NUM_VAR ROUNDS: solves the shortest path of so many variables; prints the
// median seconds, the number of iterations and the milliseconds of one.
#include <cstdio>
#include <cstdlib>

#include "local_model.h"
#include "statistics.h"
#include "timed_task.h"

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  TimedTask task(shortest_path(std::strtoul(argv[1], nullptr, 10)), ".ptf");
  std::vector<double> seconds;
  int iterations = 1;
  for (int round = 0; round < std::atoi(argv[2]); ++round) {
    const TimedTask::Figures figures = task.solve();
    seconds.push_back(figures.seconds);
    iterations = figures.iterations;
  }
  const double middle = median(seconds);
  std::printf("%.4f %d %.4f\n", middle, iterations, 1e3 * middle / iterations);
}

// The texts of "-help" and "-license". The usage text names what people use most; the man page is
// the complete reference.
#include <iostream>

#include "commands.h"

void print_help() {
  std::cerr
      << "vorlancli [ COMMANDS ... ]\n"
         "  Command line interface to VORLAN\n"
         "  COMMANDS are execured in the order they are written.\n"
         "COMMANDS:\n"
         "\t-h, -help\n"
         "\t  Print this help summary\n"
         "\t-license\n"
         "\t  Print a license summary\n"
         "\t-log[:ARGS] FILE\n"
         "\t  FILE indicates the file where output is written. '-' means stderr.\n"
         "\t  ARGS:\n"
         "\t    append[=(yes|no)] 'no' (default) indicates that FILE is overwritten, otherwise new "
         "log output is appended.\n"
         "\t-read[:ARGS] FILE\n"
         "\t  FILE is the problem file to read\n"
         "\t  ARGS:\n"
         "\t    (safe|unsafe) indicated whether to clear settings that might cause arbitrary files "
         "to be written.\n"
         "\t    format=(task|ptf|mps|...)[+(zst|gz)] Force the read format and compression.\n"
         "\t    async[=on|off] Use asynchronous reading\n"
         "\t-no-solutions (true|false)\n"
         "\t  Exclude solutions when writing files that support solutions (JSON, OPF, PTF)\n"
         "\t-write[:ARGS] FILE\n"
         "\t  FILE is the problem file to write\n"
         "\t  ARGS:\n"
         "\t    async[=on|off] Use asynchronous writing\n"
         "\t-write-solution[:ARGS] FILE\n"
         "\t  FILE is the solution file to write\n"
         "\t  ARGS:\n"
         "\t    (json|task|plain) indicated the format in which to write.\n"
         "\t-d PARNAME PARVAL\n"
         "\t  PARNAME is the C API name of a parameter to set\n"
         "\t  PARVAL  is value to set the parameter to\n"
         "\t-solve[:ARGS]\n"
         "\t  ARGS:\n"
         "\t    [max|min] indicates the objective sense to use\n"
         "\t    res=FILENAME indicates where to write the name of the rescode from the solver\n"
         "\t    trm=FILENAME indicates where to write the name of the termination code from the "
         "solver\n"
         "\t    msg=FILENAME indicates where to write the error message (if any) from the solver\n"
         "\t    time-limit=SECONDS indicates the solver timelimit, 0 (default) meaning unlimited.\n"
         "\t    remote-access-token=TOKEN Indicates a solver server access token to use.\n"
         "\t    remote=[http|https]://SERVER[:PORT] Indicates a solver server to use.\n"
         "\n"
         "Example:\n"
         "  vorlancli -read mytask.task -write mytask.opf\n"
         "  vorlancli -log - -read mytask.task -solve:res=out.res,time-limit=20 "
         "-write-solution:json mytask.sol\n";
}

void runhelp(RunState& /*run*/, std::string_view /*args*/) { print_help(); }

void runlicense(RunState& /*run*/, std::string_view /*args*/) {
  std::cerr << "  VORLAN License\n"
               "  =============\n"
               "\n"
               "  The VORLAN license conditions are included in the distro as\n"
               "  \tvorlan-eula.pdf\n"
               "  and can additionally be found at \n"
               "  \thttps://vorlan.example/license\n";
}

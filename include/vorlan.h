/* vorlan.h - the C interface of the optimizer library libvorlan64.so.11.0

   This header is the contract between the program vorlancli and the optimizer, and the manual of
   both sides: every operation says what it requires, what it returns and who owns what. Any library
   with this soname and these 46 operations can stand in for the embedded optimizer.

   The model of a task

     minimize or maximize   c'x + constant + <C, X>
     subject to             lc <= A x + <A_i, X> <= uc     (constraints,  numcon of them)
                            lx <= x <= ux                  (variables,    numvar of them)
                            parts of x in cones            (cones,        numcone of them)
                            X_j symmetric positive semidefinite, of dimension d_j
                                                           (matrix variables, numbarvar of them)

   Conventions

   - Every operation returns a response code: 0 (VLN_RES_OK) is success, anything else a failure
     whose symbolic name VLN_getcodedesc gives and whose message VLN_getlasterror gives. A failing
     operation leaves its out-arguments and the task as they were, unless its text says otherwise.
   - A null task, a null out-argument, an index or a selector out of range are response codes, never
     a crash.
   - Strings are terminated by NUL and are copied: the library keeps no pointer that it was handed,
     except the functions and handles given to VLN_putcallbackfunc and VLN_linkfunctotaskstream.
   - Indices count from 0. Arrays belong to the caller and must be as long as stated.
   - A task is used by one thread at a time. The library calls the callback and the stream function
     in the thread of the caller, from inside the operation in progress.
   - Tasks are independent: threads may use different ones at the same time, in every operation. A
     solve forks a child process (parameter VLN_IPAR_CHILD_PROCESS), also beside other threads, which
     may fork, load libraries, print and wait for children meanwhile. Only the environment must not
     be changed (setenv) while a solve begins: it is read then.
   - Infinite bounds and values are IEEE infinities.

   Example (compiled and run by the tests, as C and as C++)

     #include <stdio.h>
     #include <vorlan.h>

     static void print_text(void* handle, const char* text) {
       (void)handle;
       fputs(text, stderr);
     }

     int main(int argc, char** argv) {
       vlntaskt* task = NULL;
       VLNrescode_enum trm = VLN_RES_OK;
       VLNrescode_enum code = VLN_makeemptytask(NULL, &task);
       double objective = 0.0;
       if (argc < 2) return 2;
       if (code == VLN_RES_OK) {
         code = VLN_linkfunctotaskstream(task, VLN_STREAM_LOG, NULL, print_text);
       }
       if (code == VLN_RES_OK) code = VLN_readdata(task, argv[1]);
       if (code == VLN_RES_OK) code = VLN_optimizetrm(task, &trm);
       if (code == VLN_RES_OK) code = VLN_getprimalobj(task, VLN_SOLUTION_BASIC, &objective);
       if (code == VLN_RES_OK) printf("%.10g\n", objective);
       VLN_deletetask(&task);
       return code == VLN_RES_OK ? 0 : 1;
     }
*/
#ifndef VORLAN_H
#define VORLAN_H

#include <stdint.h>

#if defined(__GNUC__)
#define VLN_API __attribute__((visibility("default")))
#else
#define VLN_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Types --------------------------------------------------------------------------------- */

/* One optimization task: the model, its parameters, its solutions and its log stream. */
typedef struct vlntaskt vlntaskt;

/* Response and termination codes share one space of 32-bit numbers. Only the numbers that a caller
   needs by name are declared here; VLN_getcodedesc names every other one. The underlying type is
   fixed so that each 32-bit number is a valid value, whatever library answers. */
#ifdef __cplusplus
enum VLNrescode_enum : int32_t { VLN_RES_OK = 0, VLN_RES_ERR_SERVER_PROBLEM_SIZE = 8008 };
enum VLNcallbackcode_enum : int32_t {};
#else
enum { VLN_RES_OK = 0, VLN_RES_ERR_SERVER_PROBLEM_SIZE = 8008 };
typedef int32_t VLNrescode_enum;
typedef int32_t VLNcallbackcode_enum;
#endif

/* Progress callback. A library may call it from any long operation, in the caller's thread; the
   embedded optimizer calls it at least 20 times a second while it optimizes and never otherwise, so
   that a request to stop does not make a later reading or writing fail. The arrays are read-only
   and valid during the call; element VLN_DINF_ELAPSED_SECONDS of douinf is the time in seconds
   since the optimization began. A result other than 0 asks the library to stop: the optimize
   operation then returns early with a termination code that says so. The callback must not call
   operations on the task. */
typedef int (*vlncallbackfunc)(vlntaskt* task, void* handle, VLNcallbackcode_enum code,
                               const double* douinf, const int* intinf, const long* lintinf);

/* Stream function: receives each piece of text of a linked stream, terminated by NUL. */
typedef void (*vlnstreamfunc)(void* handle, const char* text);

/* The task's only stream. While it is not linked, text sent to it is dropped, with one exception:
   the line that says why an operation failed then goes to standard error. */
enum { VLN_STREAM_LOG = 0 };

/* Objective sense. */
enum { VLN_SENSE_MINIMIZE = 0, VLN_SENSE_MAXIMIZE = 1 };

/* The solutions of a task. */
enum { VLN_SOLUTION_INTERIOR = 0, VLN_SOLUTION_BASIC = 1, VLN_SOLUTION_INTEGER = 2 };

/* Compression of solution files: none, gzip, Zstandard. */
enum { VLN_COMPRESSION_NONE = 0, VLN_COMPRESSION_GZIP = 2, VLN_COMPRESSION_ZSTD = 3 };

/* Integer parameters that callers set by number. All take 1 (yes) and 0 (no). */
enum {
  VLN_IPAR_SHOW_FILE_NAMES = 45,      /* log and messages show file names, not "<filename>" */
  VLN_IPAR_TASK_FILE_SOLUTIONS = 109, /* task and JSON problem files carry solutions */
  VLN_IPAR_TEXT_FILE_SOLUTIONS = 125, /* OPF and PTF problem files carry solutions */
  VLN_IPAR_ASYNC_READ = 127,          /* problem files are read asynchronously */
  VLN_IPAR_ASYNC_WRITE = 168          /* problem files are written asynchronously */
};

/* String parameters with an index below this number can make the optimizer write files. */
enum { VLN_NUM_FILE_SPAR = 24 };

/* Element of the callback's douinf: seconds since the optimization began. */
enum { VLN_DINF_ELAPSED_SECONDS = 50 };

/* Solution status (VLN_getsolsta)         Problem status (VLN_getprosta)
     0  unknown                              0  unknown
     1  optimal                              1  primal and dual feasible
     2  primal feasible                      2  primal feasible
     3  dual feasible                        3  dual feasible
     4  primal and dual feasible             4  primal infeasible
     5  certificate of primal infeasibility  5  dual infeasible
     6  certificate of dual infeasibility    6  primal and dual infeasible
     7  certificate that the primal          7  ill-posed
        is ill-posed                         8  primal infeasible or unbounded
     8  certificate that the dual
        is ill-posed
     9  integer optimal

   Status key of a variable or a constraint (VLN_getskx, VLN_getskc)
     0  unknown    1  basic       2  super basic    3  at its lower bound
     4  at its upper bound        5  fixed          6  infinite */

/* ---- Task ---------------------------------------------------------------------------------- */

/* Creates an empty task. env must be NULL: a task needs no environment. On success *task is the
   handle, to be released by VLN_deletetask; on failure *task is left as it was. */
VLN_API VLNrescode_enum VLN_makeemptytask(void* env, vlntaskt** task);

/* Registers func as the progress callback of the task, with the handle that it is to receive,
   in place of an earlier one. A null func unregisters. */
VLN_API VLNrescode_enum VLN_putcallbackfunc(vlntaskt* task, vlncallbackfunc func, void* handle);

/* Releases *task and sets it to NULL. A null *task is fine. */
VLN_API VLNrescode_enum VLN_deletetask(vlntaskt** task);

/* ---- Streams and echo ---------------------------------------------------------------------- */

/* Sends the stream to a file, which is opened at once: for appending if append is not 0, else
   truncated. Replaces the stream's earlier destination; when the file cannot be opened the earlier
   one stays. */
VLN_API VLNrescode_enum VLN_linkfiletotaskstream(vlntaskt* task, int32_t whichstream,
                                                 const char* filename, int32_t append);

/* Sends the stream to a function, called with the handle and each piece of text. Replaces the
   stream's earlier destination. A null func unlinks the stream. */
VLN_API VLNrescode_enum VLN_linkfunctotaskstream(vlntaskt* task, int32_t whichstream, void* handle,
                                                 vlnstreamfunc func);

/* Formats like printf and sends the text to the stream.
   A "%s" takes a terminated string or, as the first argument after the format, a C++
   std::string_view by value: its first word is a length below 131072, where no pointer is. For this
   reason the operation carries no printf attribute. */
VLN_API VLNrescode_enum VLN_echotask(vlntaskt* task, int32_t whichstream, const char* format, ...);

/* ---- Parameters ---------------------------------------------------------------------------- */

/* Sets or reads an integer parameter by its index, such as the five named above. */
VLN_API VLNrescode_enum VLN_putintparam(vlntaskt* task, int32_t param, int32_t value);
VLN_API VLNrescode_enum VLN_getintparam(vlntaskt* task, int32_t param, int32_t* value);

/* Sets a string parameter by its index. Those below VLN_NUM_FILE_SPAR can make the optimizer write
   files; they act only when an optimization begins. The empty string asks for nothing. */
VLN_API VLNrescode_enum VLN_putstrparam(vlntaskt* task, int32_t param, const char* value);

/* Sets a parameter of any type by its name; value is a number or, where the parameter has words,
   a word. Unknown names and values out of range are refused, and the message names the nearest
   known name or the allowed range. */
VLN_API VLNrescode_enum VLN_putparam(vlntaskt* task, const char* name, const char* value);

/* ---- Problem and solution files ------------------------------------------------------------ */

/* Reads a problem file in place of the task's model and solutions; "-" is standard input. The
   format is the one of the name's suffix, or of the content where the name has none that is known;
   the content says the compression. On failure the task is as it was before. */
VLN_API VLNrescode_enum VLN_readdata(vlntaskt* task, const char* filename);

/* Writes the model to a problem file; format and compression follow from the name. */
VLN_API VLNrescode_enum VLN_writedata(vlntaskt* task, const char* filename);

/* Reads a b solution into the task, or writes the task's solutions as one. The compression
   selector decides, whatever the name says. */
VLN_API VLNrescode_enum VLN_readbsolution(vlntaskt* task, const char* filename,
                                          uint32_t compression);
VLN_API VLNrescode_enum VLN_writebsolution(vlntaskt* task, const char* filename,
                                           uint32_t compression);

/* Writes the task's solutions as JSON, uncompressed. */
VLN_API VLNrescode_enum VLN_writejsonsol(vlntaskt* task, const char* filename);

/* Writes codes, statuses, solutions and figures of the last optimization. */
VLN_API VLNrescode_enum VLN_writetasksolverresult_file(vlntaskt* task, const char* filename,
                                                       uint32_t compression);

/* ---- Optimization -------------------------------------------------------------------------- */

/* Optimizes the task. Which solutions are defined afterwards depends on the kind of model and the
   chosen optimizer: basic for linear, integer for mixed-integer, interior-point for the conic
   method. *trm says why the optimization ended: 0 when it ran to its end, else a termination code
   (time limit, user callback, ...). A stopped optimization is a success with what was found so far.
   *trm is written also when the operation fails. When a file that a string parameter asks for
   cannot be opened, nothing is solved; when one cannot be written after the solve, the operation
   fails with the solutions kept in the task and *trm as the solve ended. */
VLN_API VLNrescode_enum VLN_optimizetrm(vlntaskt* task, VLNrescode_enum* trm);

/* The same on a solver server at "[http|https]://SERVER[:PORT]"; token is the access token, empty
   for none. */
VLN_API VLNrescode_enum VLN_optimizermt(vlntaskt* task, const char* address, const char* token,
                                        VLNrescode_enum* trm);

/* The objective sense. */
VLN_API VLNrescode_enum VLN_getobjsense(vlntaskt* task, int32_t* sense);
VLN_API VLNrescode_enum VLN_putobjsense(vlntaskt* task, int32_t sense);

/* ---- Sizes --------------------------------------------------------------------------------- */

VLN_API VLNrescode_enum VLN_getnumvar(vlntaskt* task, int32_t* numvar);
VLN_API VLNrescode_enum VLN_getnumcon(vlntaskt* task, int32_t* numcon);
VLN_API VLNrescode_enum VLN_getnumcone(vlntaskt* task, int32_t* numcone);
VLN_API VLNrescode_enum VLN_getnumbarvar(vlntaskt* task, int32_t* numbarvar);

/* Dimension of matrix variable j, 0 <= j < numbarvar. */
VLN_API VLNrescode_enum VLN_getdimbarvarj(vlntaskt* task, int32_t j, int32_t* dimbarvarj);

/* Length in bytes, without the NUL, of the longest name of a variable, constraint, cone or matrix
   variable. */
VLN_API VLNrescode_enum VLN_getmaxnamelen(vlntaskt* task, int32_t* maxlen);

/* ---- Solutions ----------------------------------------------------------------------------- */

/* *isdef becomes 1 if the solution is defined, else 0. */
VLN_API VLNrescode_enum VLN_solutiondef(vlntaskt* task, int32_t whichsol, int32_t* isdef);

/* On a solution that is not defined every query below returns a response code. On a defined one
   every query succeeds, whatever the status; what the kind of solution does not have (the duals of
   an integer solution) reads as 0. */
VLN_API VLNrescode_enum VLN_getprosta(vlntaskt* task, int32_t whichsol, int32_t* problemsta);
VLN_API VLNrescode_enum VLN_getsolsta(vlntaskt* task, int32_t whichsol, int32_t* solutionsta);

/* Status keys: of the variables (numvar elements), of the constraints (numcon elements). */
VLN_API VLNrescode_enum VLN_getskx(vlntaskt* task, int32_t whichsol, int32_t* skx);
VLN_API VLNrescode_enum VLN_getskc(vlntaskt* task, int32_t whichsol, int32_t* skc);

/* Values of the variables, duals of their lower and of their upper bounds: numvar elements. */
VLN_API VLNrescode_enum VLN_getxx(vlntaskt* task, int32_t whichsol, double* xx);
VLN_API VLNrescode_enum VLN_getslx(vlntaskt* task, int32_t whichsol, double* slx);
VLN_API VLNrescode_enum VLN_getsux(vlntaskt* task, int32_t whichsol, double* sux);

/* Activities of the constraints, duals of their lower and of their upper bounds, and
   y = slc - suc: numcon elements. */
VLN_API VLNrescode_enum VLN_getxc(vlntaskt* task, int32_t whichsol, double* xc);
VLN_API VLNrescode_enum VLN_getslc(vlntaskt* task, int32_t whichsol, double* slc);
VLN_API VLNrescode_enum VLN_getsuc(vlntaskt* task, int32_t whichsol, double* suc);
VLN_API VLNrescode_enum VLN_gety(vlntaskt* task, int32_t whichsol, double* y);

/* Objective value of the primal solution, constant included, in the task's own sense. Of a
   certificate: the ray objective, without the constant. */
VLN_API VLNrescode_enum VLN_getprimalobj(vlntaskt* task, int32_t whichsol, double* primalobj);

/* Primal and dual matrix variables first to last - 1: the packed lower triangle of each, column by
   column, one after the other. slicesize is the number of doubles, the sum of d(d+1)/2. */
VLN_API VLNrescode_enum VLN_getbarxslice(vlntaskt* task, int32_t whichsol, int32_t first,
                                         int32_t last, int64_t slicesize, double* barxslice);
VLN_API VLNrescode_enum VLN_getbarsslice(vlntaskt* task, int32_t whichsol, int32_t first,
                                         int32_t last, int64_t slicesize, double* barsslice);

/* ---- Names --------------------------------------------------------------------------------- */

/* The name, terminated, empty when unnamed. sizename is the size of the buffer in bytes, NUL
   included; a longer name is cut to the buffer and gives a response code. */
VLN_API VLNrescode_enum VLN_getvarname(vlntaskt* task, int32_t j, int32_t sizename, char* name);
VLN_API VLNrescode_enum VLN_getconname(vlntaskt* task, int32_t i, int32_t sizename, char* name);
VLN_API VLNrescode_enum VLN_getbarvarname(vlntaskt* task, int32_t j, int32_t sizename, char* name);

/* ---- Codes and messages -------------------------------------------------------------------- */

/* Symbolic name and description of a response or termination code, each into a buffer of 1024
   bytes; either may be NULL. An unknown code gives a failure and "VLN_RES_UNKNOWN". */
VLN_API VLNrescode_enum VLN_getcodedesc(VLNrescode_enum code, char* symname, char* description);

/* Code and message of the last operation on the task that failed. *lastmsglen becomes the full
   length of the message without NUL. With sizelastmsg 0 lastmsg may be NULL and only the length is
   given; else the message is written terminated, cut to sizelastmsg bytes. Code and length are 0
   when nothing failed yet. */
VLN_API VLNrescode_enum VLN_getlasterror(vlntaskt* task, VLNrescode_enum* lastrescode,
                                         int32_t sizelastmsg, int32_t* lastmsglen, char* lastmsg);

#ifdef __cplusplus
}
#endif

#endif /* VORLAN_H */

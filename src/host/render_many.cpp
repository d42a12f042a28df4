#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <map>
#include <ostream>
#include <thread>

#include "host/interrupt.h"
#include "host/number_text.h"
#include "host/output_file.h"
#include "host/render.h"
#include "host/words/report.h"

namespace korva {
namespace {

namespace fs = std::filesystem;

/// One call for each input, each output named after it.
Outcome<std::vector<RenderRequest>> Split(const RenderRequest& request) {
  std::error_code error;
  if (!fs::is_directory(request.outDir, error)) {
    return Failed("--out-dir takes a folder that is there; " + request.outDir + " is none, and mkdir makes one");
  }
  std::vector<RenderRequest> calls;
  for (const std::string& input : request.inputs) {
    RenderRequest call = request;
    call.inputs = {input};
    fs::path name = fs::path(input).filename();
    if (!request.extension.empty()) {
      name.replace_extension(request.extension.front() == '.' ? request.extension : "." + request.extension);
    }
    call.output = (fs::path(request.outDir) / name).string();
    for (const RenderRequest& other : calls) {
      if (other.output == call.output) {
        return BadCall(other.inputs.front() + " and " + input + " would both become " + call.output);
      }
    }
    calls.push_back(std::move(call));
  }
  return calls;
}

int RenderInChild(const RenderRequest& call, Streams& streams) {
  Streams own{streams.in, streams.out, streams.err};
  MaybeExit check;
  try {
    check = RenderOne(call, own);
  } catch (const std::exception& failure) {
    check = Failed(failure.what());
  }
  if (check) {
    const std::string& name = call.inputs.front();
    const bool isNamed = check->text.find(name) != std::string::npos;
    streams.err << "korva: " + (isNamed ? "" : name + ": ") + check->text + "\n";
  }
  streams.out.flush();
  streams.err.flush();
  return check ? check->exitCode : kDone;
}

}  // namespace

MaybeExit Render(const RenderRequest& request, Streams& streams) {
  if (request.outDir.empty()) return RenderOne(request, streams);
  const Outcome<std::vector<RenderRequest>> calls = Split(request);
  if (!calls) return calls.earlyExit();
  const std::uint32_t processors = std::max(std::thread::hardware_concurrency(), 1U);
  const std::size_t most = request.jobs != 0 ? request.jobs : processors;
  if (!request.quiet) streams.err << Described(request) << "\n";
  streams.out.flush();
  streams.err.flush();
  // A process each: nothing that one file does to its decoder reaches another.
  std::map<pid_t, const RenderRequest*> running;
  auto next = calls->begin();
  std::size_t failed = 0;
  int worst = kDone;
  while (next != calls->end() || !running.empty()) {
    if (Interrupted()) {
      for (const auto& child : running) ::kill(child.first, interruptedBy.load());
      next = calls->end();
    }
    if (next != calls->end() && running.size() < most) {
      const pid_t child = ::fork();
      if (child < 0 && running.empty()) return Failed(WithSystemReason("cannot start a run"));
      if (child == 0) {
        const int exitCode = RenderInChild(*next, streams);
        EndByInterrupt();
        ::_exit(exitCode);
      }
      if (child > 0) {
        running[child] = &*next;
        ++next;
        continue;
      }
    }
    if (running.empty()) continue;
    int status = 0;
    const pid_t ended = ::waitpid(-1, &status, 0);
    if (ended < 0 && errno != EINTR) break;
    if (ended <= 0 || running.erase(ended) == 0) continue;
    const int exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : kFailed;
    failed += exitCode != kDone ? 1U : 0U;
    worst = std::max(worst, exitCode);
    // What is wrong with the call is wrong with every file.
    if (exitCode == kBadCall) next = calls->end();
  }
  if (Interrupted()) return Failed("interrupted");
  if (failed == 0) return std::nullopt;
  return EarlyExit{
      worst, std::to_string(failed) + " of " + CountText(static_cast<std::int64_t>(calls->size()), "file") + " failed"};
}

}  // namespace korva

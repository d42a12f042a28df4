#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "rig.h"

namespace korva {
namespace {

/// The built command as a process of its own.
class ProcessTest : public HostTest {
 protected:
  struct Wiring {
    int in = -1, out = -1;  // descriptors for its standard streams; -1: nothing
    rlim_t largestFile = RLIM_INFINITY, memory = RLIM_INFINITY;
    bool closeStandard = false;  // starts without descriptors 0 and 1
  };

  pid_t Start(const std::vector<std::string>& arguments, Wiring wiring) const {
    std::vector<std::string> words = {KORVA_BINARY};
    for (const std::string& word : arguments) words.push_back(word[0] == '@' ? Path(word.substr(1)) : word);
    std::vector<char*> pointers;
    for (std::string& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    const std::string err = Path("stderr.txt");
    const pid_t child = ::fork();
    if (child != 0) return child;
    ::dup2(wiring.in >= 0 ? wiring.in : ::open("/dev/null", O_RDONLY), 0);
    ::dup2(wiring.out >= 0 ? wiring.out : ::open("/dev/null", O_WRONLY), 1);
    ::dup2(::open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 2);
    const rlimit limit{wiring.largestFile, wiring.largestFile}, space{wiring.memory, wiring.memory};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    ::setrlimit(RLIMIT_AS, &space);
    if (wiring.closeStandard) {
      ::close(0);
      ::close(1);
    }
    ::execv(pointers[0], pointers.data());
    ::_exit(99);
  }
  /// Waits until the process has its handlers, and a little more for it to be at work.
  static void LetItStart(pid_t child) {
    constexpr unsigned kTerminate = 1U << (SIGTERM - 1);
    for (int i = 0; i < 1000; ++i) {
      std::ifstream status("/proc/" + std::to_string(child) + "/status");
      for (std::string line; std::getline(status, line);) {
        if (!line.starts_with("SigCgt:") || (std::stoul(line.substr(7), nullptr, 16) & kTerminate) == 0) continue;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        return;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  }
  static int Wait(pid_t child) {
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }
};

TEST_F(ProcessTest, AFullDiskLeavesNothingBehind) {
  PutSound("in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, 60000);
  for (const std::string ending : {"wav", "flac", "aiff", "caf", "w64", "ogg"}) {
    const std::string out = "out." + ending;
    ASSERT_EQ(Wait(Start({"render", "@in.wav", "@" + out, "chorus"}, {})), 0) << Bytes("stderr.txt");
    const auto size = static_cast<rlim_t>(std::filesystem::file_size(Path(out)));
    std::filesystem::remove(Path(out));
    const std::ptrdiff_t files = FileCount();
    // At the start, half-way, and at the very last byte, which some kinds of file write only when they are closed.
    for (const rlim_t room : {rlim_t{200}, size / 2, size - 1}) {
      EXPECT_EQ(Wait(Start({"render", "@in.wav", "@" + out, "chorus"}, {.largestFile = room})), 1) << out << room;
      EXPECT_NE(Bytes("stderr.txt").find("File too large"), std::string::npos) << Bytes("stderr.txt");
      EXPECT_EQ(FileCount(), files) << out << " " << room;
    }
  }
}

TEST_F(ProcessTest, AnInterruptLeavesNothingBehindAndIsTold) {
  PutSound("in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 4'000'000);
  Put("out.wav", "kept");
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGKILL}) {
    const pid_t child = Start({"render", "@in.wav", "@out.wav", "reverb", "reverb", "reverb", "--overwrite"}, {});
    LetItStart(child);
    // Some programs send two at once.
    ::kill(child, number);
    ::kill(child, number);
    EXPECT_EQ(Wait(child), -number) << "a shell's loop goes on after an ordinary end";
    EXPECT_EQ(Bytes("stderr.txt"), number == SIGKILL ? "" : "korva: interrupted\n");
    EXPECT_EQ(Bytes("out.wav"), "kept");
    EXPECT_EQ(FileCount(), 3) << number;
  }
}

// Whatever the command waits for, one signal is enough.
TEST_F(ProcessTest, AnInterruptEndsEveryWaitForAPipe) {
  PutSound("in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 100000);
  int ends[2] = {};
  ASSERT_EQ(::pipe(ends), 0);
  for (const int end : ends) ::fcntl(end, F_SETFD, FD_CLOEXEC);
  ASSERT_EQ(::mkfifo(Path("fifo").c_str(), 0600), 0);
  const std::string fifo = "@fifo";
  struct Case {
    std::vector<std::string> words;
    Wiring wiring;
  };
  for (const Case& c : {Case{{"render", "-", "@out.wav", "chorus"}, {.in = ends[0]}},
                        {{"render", "@in.wav", "-", "chorus"}, {.out = ends[1]}},
                        {{"render", fifo, "@out.wav", "chorus"}, {}},
                        {{"render", "@in.wav", fifo, "chorus"}, {}},
                        {{"render", "@in.wav", "@out.wav", "chorus", "--state", fifo}, {}},
                        {{"render", "@in.wav", "@out.wav", "chorus", "--tempo-map", fifo}, {}}}) {
    const pid_t child = Start(c.words, c.wiring);
    LetItStart(child);
    ::kill(child, SIGTERM);
    EXPECT_EQ(Wait(child), -SIGTERM) << c.words[1] << c.words[2];
    EXPECT_EQ(Bytes("stderr.txt"), "korva: interrupted\n");
    EXPECT_FALSE(Exists("out.wav"));
  }
  // Somebody at the other end, late.
  const pid_t child = Start({"render", fifo, "@out.wav", "chorus"}, {});
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  Put("fifo", Bytes("in.wav"));
  EXPECT_EQ(Wait(child), 0) << Bytes("stderr.txt");
  for (const int end : ends) ::close(end);
}

TEST_F(ProcessTest, StandardStreamsThatFailAreToldAndTakeNoFilesPlace) {
  PutSound("in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 100000);
  int ends[2] = {};
  ASSERT_EQ(::pipe(ends), 0);
  ::close(ends[0]);
  const int full = ::open("/dev/full", O_WRONLY);
  struct Case {
    std::vector<std::string> words;
    Wiring wiring;
    const char* told;
  };
  for (const auto& [words, wiring, told] :
       {Case{{"render", "@in.wav", "-", "chorus"}, {.closeStandard = true}, "Bad file descriptor"},
        {{"render", "-", "@out.wav", "chorus"}, {.closeStandard = true}, "Bad file descriptor"},
        {{"effects"}, {.closeStandard = true}, ""},
        {{"effects"}, {.out = full}, "cannot write"},
        {{"render", "@in.wav", "-", "chorus"}, {.out = full}, "No space"},
        {{"render", "@in.wav", "-", "chorus"}, {.out = ends[1]}, "Broken pipe"}}) {
    EXPECT_EQ(Wait(Start(words, wiring)), 1) << told;
    EXPECT_NE(Bytes("stderr.txt").find(told), std::string::npos) << Bytes("stderr.txt");
    EXPECT_EQ(FileCount(), 2);
  }
  EXPECT_EQ(Wait(Start({"render", "@in.wav", "@out.wav", "chorus"}, {.closeStandard = true})), 0);
  ::close(ends[1]);
  ::close(full);
}

#ifndef KORVA_SANITIZED  // the sanitizers take all the space that there is
TEST_F(ProcessTest, TooLittleMemoryIsAnOrderlyEndWhereverItRunsOut) {
  PutSound("in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 20000);
  std::vector<std::string> words = {"render", "@in.wav", "@out.wav", "chorus", "--overwrite"};
  for (int i = 0; i < 15; ++i) words.push_back("--set=delay=" + std::string(100'000, '0') + "5");
  int failed = 0;
  for (rlim_t memory = 16'000'000; memory < 80'000'000; memory += 500'000) {
    const int ending = Wait(Start(words, {.memory = memory}));
    // The loader may not get through.
    EXPECT_TRUE(ending == 0 || ending == 1 || ending == 127) << ending << " " << memory;
    failed += ending == 1 ? 1 : 0;
    if (ending == 0) break;
  }
  EXPECT_GT(failed, 3);
}
#endif

}  // namespace
}  // namespace korva

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
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
    rlim_t largestFile = RLIM_INFINITY;
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
    const rlimit limit{wiring.largestFile, wiring.largestFile};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    ::execv(pointers[0], pointers.data());
    ::_exit(99);
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
    const std::size_t files = FileCount();
    // At the start, half-way, and at the very last byte, which some kinds of file write only when they are closed.
    for (const rlim_t room : {rlim_t{200}, size / 2, size - 1}) {
      EXPECT_EQ(Wait(Start({"render", "@in.wav", "@" + out, "chorus"}, {.largestFile = room})), 1) << out << room;
      EXPECT_NE(Bytes("stderr.txt").find("File too large"), std::string::npos) << Bytes("stderr.txt");
      EXPECT_EQ(FileCount(), files) << out << " " << room;
    }
  }
}

TEST_F(ProcessTest, AnInterruptLeavesNothingBehind) {
  PutSound("in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 4'000'000);
  Put("out.wav", "kept");
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    const std::size_t files = FileCount();
    const pid_t child = Start({"render", "@in.wav", "@out.wav", "reverb", "reverb", "reverb", "--overwrite"}, {});
    // Its file in the making tells that it is at work.
    for (int i = 0; i < 2000 && FileCount() < files + 2; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    ::kill(child, number);
    EXPECT_EQ(Wait(child), 1) << number;
    EXPECT_EQ(Bytes("stderr.txt"), "korva: interrupted\n");
    EXPECT_EQ(Bytes("out.wav"), "kept");
    std::filesystem::remove(Path("stderr.txt"));
    EXPECT_EQ(FileCount(), 2U);
  }
}

TEST_F(ProcessTest, AnInterruptEndsTheWaitForAPipe) {
  int ends[2] = {};
  ASSERT_EQ(::pipe(ends), 0);
  ::fcntl(ends[1], F_SETFD, FD_CLOEXEC);
  const pid_t child = Start({"render", "-", "@out.wav", "chorus"}, {.in = ends[0]});
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  ::kill(child, SIGTERM);
  EXPECT_EQ(Wait(child), 1);
  ::close(ends[0]);
  ::close(ends[1]);
  EXPECT_FALSE(Exists("out.wav"));
}

TEST_F(ProcessTest, AReaderThatLeavesIsAFailedWrite) {
  PutSound("in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 100000);
  int ends[2] = {};
  ASSERT_EQ(::pipe(ends), 0);
  ::close(ends[0]);
  EXPECT_EQ(Wait(Start({"render", "@in.wav", "-", "chorus"}, {.out = ends[1]})), 1);
  EXPECT_NE(Bytes("stderr.txt").find("Broken pipe"), std::string::npos) << Bytes("stderr.txt");
  ::close(ends[1]);
  const int full = ::open("/dev/full", O_WRONLY);
  EXPECT_EQ(Wait(Start({"effects"}, {.out = full})), 1);
  EXPECT_EQ(Wait(Start({"render", "@in.wav", "-", "chorus"}, {.out = full})), 1);
  ::close(full);
}

}  // namespace
}  // namespace korva

// The store when its temporary file fails it.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <utility>

#include "host/model/environment.h"
#include "host/model/loggers.h"
#include "store/zt_extensible_backing_store.h"

namespace {

uid_t s_addedToUser = 0;

}  // namespace

// A file system that gives files to somebody else looks like a user who is somebody else.
extern "C" uid_t geteuid() noexcept {
    return static_cast<uid_t>(syscall(SYS_geteuid)) + s_addedToUser;
}

namespace {

namespace fs = std::filesystem;
using host::model::DescriptorLogger;
using pwr::ZTExtensibleBackingStore;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class StoreFault : public testing::Test {
protected:
    StoreFault() : m_logger(m_pipe.m_ends[1]), m_environment(m_logger, m_logger) {
        m_environment.m_logLevel = 2;
        std::signal(SIGXFSZ, SIG_IGN);
    }

    // What was logged since the last call.
    std::string log() const {
        char text[4096];
        const ssize_t length = ::read(m_pipe.m_ends[0], text, sizeof text);
        return length > 0 ? std::string(text, static_cast<std::size_t>(length)) : "";
    }

    // Unlike a file, a pipe knows no limit of file sizes.
    struct Pipe {
        Pipe() { EXPECT_EQ(pipe2(m_ends, O_NONBLOCK), 0); }
        ~Pipe() {
            close(m_ends[0]);
            close(m_ends[1]);
        }
        int m_ends[2];
    } m_pipe;
    DescriptorLogger m_logger;
    host::model::Environment m_environment;
};

// Lowers a soft limit for as long as it lives.
class Limit {
public:
    Limit(__rlimit_resource resource, rlim_t value) : m_resource(resource) {
        getrlimit(resource, &m_before);
        const rlimit lowered{value, m_before.rlim_max};
        setrlimit(resource, &lowered);
    }
    ~Limit() { setrlimit(m_resource, &m_before); }

private:
    __rlimit_resource m_resource;
    rlimit m_before{};
};

std::string nextPath() {
    std::srand(7);
    const std::string path = "./_" + std::to_string(getpid()) + "_" + std::to_string(std::rand());
    std::srand(7);
    return path;
}

std::string thrownBy(unsigned long limit) {
    try {
        const ZTExtensibleBackingStore store(limit);
    } catch (const char* text) {
        return text;
    }
    return "nothing";
}

TEST_F(StoreFault, RemovesItsFile) {
    const std::string path = nextPath();
    {
        ZTExtensibleBackingStore store(16);
        ZTExtensibleBackingStore other(16);
        EXPECT_EQ(store.getPath(), path);
        EXPECT_NE(other.getPath(), path);
        EXPECT_TRUE(fs::exists(path));
        // Nobody else can read it, and no program that the host starts inherits it.
        EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_read | fs::perms::owner_write);
        for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
            std::error_code isGone;
            if (fs::read_symlink(entry.path(), isGone).filename() != fs::path(path).filename()) continue;
            EXPECT_EQ(fcntl(std::stoi(entry.path().filename()), F_GETFD), FD_CLOEXEC);
        }
    }
    EXPECT_FALSE(fs::exists(path));
    EXPECT_EQ(log(), "");
}

TEST_F(StoreFault, ThrowsWithoutADescriptor) {
    const std::string path = nextPath();
    {
        const Limit noFiles(RLIMIT_NOFILE, 0);
        EXPECT_EQ(thrownBy(16), "Couldn't initialize buffer\n");
    }
    EXPECT_EQ(
        log(),
        "2WARNING: open error: errnum=24: Too many open files\nERROR: Failed to initialize temporary file " +
            path + ": errnum=24: Too many open files\n");
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(StoreFault, ThrowsQuietlyBelowLevelOne) {
    m_environment.m_logLevel = 0;
    const Limit noFiles(RLIMIT_NOFILE, 0);
    EXPECT_EQ(thrownBy(16), "Couldn't initialize buffer\n");
    EXPECT_EQ(log(), "");
}

TEST_F(StoreFault, FollowsNoLinkUnderItsName) {
    std::ofstream("victim") << "precious";
    const std::string path = nextPath();
    for (const bool symbolic : {true, false}) {
        SCOPED_TRACE(symbolic);
        nextPath();
        if (symbolic)
            fs::create_symlink("victim", path);
        else
            fs::create_hard_link("victim", path);
        EXPECT_EQ(thrownBy(16), "Couldn't initialize buffer\n");
        EXPECT_EQ(fs::file_size("victim"), 8u);
        fs::remove(path);
    }
    fs::remove("victim");
}

// Nor does it wait for somebody at the other end of a pipe, or keep it open.
TEST_F(StoreFault, LeavesAPipeUnderItsNameAlone) {
    const auto descriptors = [] {
        return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
    };
    const std::string path = nextPath();
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const auto before = descriptors();
    EXPECT_EQ(thrownBy(16), "Couldn't initialize buffer\n");
    EXPECT_EQ(descriptors(), before);
    EXPECT_TRUE(fs::is_fifo(path));
    EXPECT_THAT(log(), HasSubstr("open error: errnum=17: File exists\n"));
    fs::remove(path);
}

TEST_F(StoreFault, EmptiesAFileThatAnEarlierProcessLeft) {
    const std::string path = nextPath();
    std::ofstream(path) << "left behind";
    {
        const ZTExtensibleBackingStore store(16);
        EXPECT_EQ(fs::file_size(path), 0u);
    }
    EXPECT_FALSE(fs::exists(path));
}

// The name is drawn again: by a store of a process with the same number in another container, after so many
// draws, or when the host seeds again.
TEST_F(StoreFault, SharesItsFileWithNoStoreOfTheSameName) {
    m_environment.m_logLevel = 3;
    for (const bool laterEndsFirst : {true, false}) {
        SCOPED_TRACE(laterEndsFirst);
        const std::string path = nextPath();
        auto earlier = std::make_unique<ZTExtensibleBackingStore>(4);
        EXPECT_EQ(earlier->write("aaaabbbb", 8), 8);
        nextPath();
        auto later = std::make_unique<ZTExtensibleBackingStore>(4);
        EXPECT_EQ(later->getPath(), path);
        EXPECT_EQ(later->write("ccccdddd", 8), 8);
        EXPECT_EQ(earlier->write("eeee", 4), 4);
        for (const auto& [store, expected] :
             {std::pair{earlier.get(), "aaaabbbbeeee"}, std::pair{later.get(), "ccccdddd"}}) {
            char bytes[13] = "";
            store->resetForRead();
            EXPECT_GT(store->read(bytes, 12), 0);
            EXPECT_STREQ(bytes, expected);
        }
        (laterEndsFirst ? later : earlier).reset();
        EXPECT_EQ(fs::exists(path), !laterEndsFirst);
        earlier.reset();
        later.reset();
        EXPECT_FALSE(fs::exists(path));
        EXPECT_EQ(log(), "");
    }
}

TEST_F(StoreFault, AsksForTheOwnerOfEarlierFilesOnly) {
    s_addedToUser = 1;
    const std::string path = nextPath();
    {
        ZTExtensibleBackingStore store(4);
        EXPECT_EQ(store.write("aaaabbbb", 8), 8);
        EXPECT_TRUE(fs::exists(path));
    }
    EXPECT_FALSE(fs::exists(path));
    EXPECT_EQ(log(), "");
    std::ofstream(path) << "precious";
    nextPath();
    EXPECT_EQ(thrownBy(16), "Couldn't initialize buffer\n");
    EXPECT_EQ(fs::file_size(path), 8u);
    s_addedToUser = 0;
    fs::remove(path);
}

TEST_F(StoreFault, KeepsWhatIsInMemoryWhenTheDiskIsFull) {
    ZTExtensibleBackingStore store(16);
    EXPECT_EQ(store.write("0123456789abcdef", 16), 16);
    {
        const Limit full(RLIMIT_FSIZE, 0);
        EXPECT_EQ(store.write("g", 1), -1);
    }
    EXPECT_THAT(log(), StartsWith("2WARNING: write error while flushing to disk!\n: errnum=27: "));
    EXPECT_EQ(store.write("g", 1), -1);
    EXPECT_EQ(log(), "2WARNING: seekg error: errnum=0: Success\n");
    EXPECT_EQ(store.insert(16, "x", 1), -1);
    EXPECT_EQ(store.size(), 16u);
    testing::internal::CaptureStderr();
    store.resetForRead();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "ERROR flushing dirty buffer while rewinding!\n");
    EXPECT_THAT(log(), HasSubstr("\nWARNING: WARNING: couldn't reset buffer for reading!\n"));
    char bytes[17] = "";
    EXPECT_EQ(store.read(bytes, 17), 16);
    EXPECT_STREQ(bytes, "0123456789abcdef");
}

TEST_F(StoreFault, FailsEveryOperationThatNeedsTheFile) {
    ZTExtensibleBackingStore store(16);
    EXPECT_EQ(store.write("0123456789abcdef0123", 20), 20);
    store.resetForRead();
    fs::resize_file(store.getPath(), 8);
    store.resetForRead();
    EXPECT_THAT(log(), HasSubstr("2WARNING: read error: errnum="));
    char bytes[20];
    errno = EPERM;  // of something else
    EXPECT_EQ(store.read(bytes, 20), -1);
    EXPECT_EQ(log(), "2WARNING: seekg error: errnum=0: Success\n");
    store.resetForReadBack();
    EXPECT_EQ(store.readBack(bytes, 20), -1);
    EXPECT_EQ(store.insert(2, "x", 1), -1);
    // Even where there is nothing to do once the window has moved.
    store.moveReadHead(0);
    EXPECT_EQ(store.read(bytes, 0), -1);
    store.writeToReadHead();
    EXPECT_EQ(store.write(bytes, 0), -1);
    store.moveReadHead(20);
    testing::internal::CaptureStderr();
    store.rewind(1);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), EndsWith("ERROR: couldn't rewind 1 bytes\n"));
    // The window is of no place: none of it is taken for the data's end, nor for what follows it.
    for (const std::uint64_t position : {0UL, 8UL, 19UL, 20UL}) {
        store.moveReadHead(position);
        EXPECT_EQ(store.readInPlace(1), nullptr) << position;
    }
}

TEST_F(StoreFault, TakesNoOtherPartOfTheDataForOneThatCannotBeRead) {
    ZTExtensibleBackingStore store(16);
    EXPECT_EQ(store.write("0123456789abcdefghij", 20), 20);
    store.resetForReadBack();
    fs::resize_file(store.getPath(), 2);
    store.resetForRead();
    char bytes[4];
    EXPECT_EQ(store.read(bytes, 4), -1);
    EXPECT_EQ(store.readInPlace(4), nullptr);
}

TEST_F(StoreFault, TellsWhenItsFileIsGone) {
    m_environment.m_logLevel = 3;
    const std::string path = nextPath();
    {
        const ZTExtensibleBackingStore store(16);
        fs::remove(path);
    }
    EXPECT_EQ(log(), "DEBUG: couldn't unlink tmp file " + path + ": No such file or directory\n");
}

}  // namespace

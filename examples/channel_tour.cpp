// Reads the television's channel list through an iterator, stops and restarts the video, tunes to every
// channel, saves a frame of each, and returns to the first channel.
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "arguments.h"
#include "message.h"
#include "platform_adaptation/picture_capture.h"
#include "platform_adaptation/system_access/iterator_access.h"
#include "platform_adaptation/system_access/source_switch_access_impl.h"
#include "platform_adaptation/system_info.h"
#include "png_file.h"

using korvale::ai::PictureData;

namespace {

constexpr char CHANNEL_LIST[] = "dovra.sl2.table.channel.list";
constexpr auto ANSWER_LIMIT = std::chrono::seconds(5);

void fail(const std::string& what) {
    complain("channel_tour", what);
    std::exit(EXIT_FAILURE);
}

struct Channel {
    std::string number;
    std::string name;
    std::string uri;
    std::string uuid;
    std::string folder;
};

// Collects an iterator's answers for a thread that waits for them.
class RowCollector final : public IteratorHandler {
  public:
    // All on the model's thread.
    void onIteratorReady(int count) override { store(m_count, count); }
    void onReadRowChunk(const std::vector<const std::vector<std::string>*>& rows) override {
        std::vector<std::vector<std::string>> copies;
        for (const auto* row : rows) copies.push_back(*row);
        store(m_rows, copies);
    }
    void onCommit(int) override {}
    void onTotalCount(int) override {}
    void onSeekToRow(int) override {}
    void onSeekToContent(int) override {}
    void onCursorPosition(int) override {}
    void onReadRow(const std::vector<std::string>&) override {}
    void onUpdate(int) override {}

    int waitForCount() { return waitFor(m_count); }
    std::vector<std::vector<std::string>> waitForRows() { return waitFor(m_rows); }

  private:
    template <typename T>
    struct Answer {
        bool arrived = false;
        T value{};
    };

    template <typename T>
    void store(Answer<T>& answer, const T& value) {
        const std::lock_guard lock(m_mutex);
        answer = {true, value};
        m_changed.notify_all();
    }

    template <typename T>
    T waitFor(Answer<T>& answer) {
        std::unique_lock lock(m_mutex);
        if (!m_changed.wait_for(lock, ANSWER_LIMIT, [&] { return answer.arrived; }))
            fail("the channel list does not answer");
        return answer.value;
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    Answer<int> m_count;
    Answer<std::vector<std::vector<std::string>>> m_rows;
};

std::vector<Channel> readChannels() {
    enum { NUMBER, NAME, URI, UUID, FOLDER };
    const auto collector = std::make_shared<RowCollector>();
    IteratorAccess list(CHANNEL_LIST, collector, {0, 100}, {}, {NUMBER, NAME, URI, UUID, FOLDER},
                        {{NUMBER, true}});
    if (list.create() != 0 || list.getIterator() == nullptr) fail("there is no channel list");
    const int count = collector->waitForCount();
    if (list.getIterator()->readRowChunk(count) != 0) fail("the channel list cannot be read");
    std::vector<Channel> channels;
    for (const auto& row : collector->waitForRows())
        channels.push_back({row[NUMBER], row[NAME], row[URI], row[UUID], row[FOLDER]});
    list.destroy();
    return channels;
}

// Saves a frame of the current channel. A request is lost while the capture's thread is not waiting for one,
// so it is repeated.
void saveFrame(PictureCapture& capture, const std::string& path) {
    PictureData picture;
    initPictureData(picture);
    picture.width = 160;
    picture.height = 90;
    bool success = false;
    for (int i = 0; i < 3 && !success; ++i) success = capture.getPicture(true, &picture);
    std::string error;
    if (!success) fail("no frame arrives: is a video pipeline running?");
    if (!savePng(path, picture, error)) fail(error);
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App arguments("Tunes to every channel of the television and returns to the first.");
    std::string folder;
    arguments.add_option("FOLDER", folder, "the folder for the pictures")
        ->required()
        ->check(CLI::ExistingDirectory);
    parseArguments(arguments, argc, argv);
    std::setvbuf(stdout, nullptr, _IOLBF, 0);

    SystemInfo info;
    SourceSwitchAccess& television = *SourceSwitchAccessImpl::GetInstance();
    const std::vector<Channel> channels = readChannels();
    if (channels.empty()) fail("the channel list is empty");
    std::printf("  %zu channels\n", channels.size());

    if (!television.pauseVideo()) fail("the video cannot be stopped");
    std::printf("  video stopped:   player state %d\n", info.getPlayerState());
    if (!television.resumeVideo()) fail("the video cannot be restarted");
    std::printf("  video restarted: player state %d\n", info.getPlayerState());

    PictureCapture capture;
    capture.start();
    television.setQuietFlag(1);
    for (const Channel& channel : channels) {
        if (!television.setChannelByUUIDs(channel.uuid, channel.folder, false))
            fail("no channel " + channel.name);
        // The next frame shows the new channel.
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        const std::string path = folder + "/channel-" + channel.number + ".png";
        saveFrame(capture, path);
        std::printf("  %s %-10s HDR type %d, %s: %s\n", safeText(channel.number).c_str(),
                    safeText(channel.name).c_str(), info.getVideoInfoHDRType(),
                    info.getTvStreamEncrypted() ? "encrypted" : "clear", safeText(path).c_str());
    }
    if (!television.setChannelByURI(channels.front().uri, false))
        fail("the first channel does not come back");
    television.setQuietFlag(0);
    std::printf("  back on %s\n", safeText(channels.front().name).c_str());
}

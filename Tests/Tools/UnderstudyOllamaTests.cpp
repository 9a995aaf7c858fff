// The promises of the model host's understudy on which other tests rely.
#include <boost/asio/ip/tcp.hpp>

#include <sstream>
#include <thread>

#include "LarkmoorBase/SHA256.h"
#include "Support/UnderstudyOllama.h"

namespace larkmoor::testing {
namespace {

using std::chrono::system_clock;

class Client {
  public:
    explicit Client(const UnderstudyOllama& host) {
        const std::string& address = host.address();
        const std::size_t colon = address.find(':');
        stream_.connect(address.substr(0, colon), address.substr(colon + 1));
    }
    void send(const std::string& method, const std::string& path, const std::string& body) {
        stream_ << method << " " << path
                << " HTTP/1.1\r\nHost: h\r\nConnection: close\r\nContent-Length: " << body.size() << "\r\n\r\n"
                << body << std::flush;
    }
    /// The head and the body with its chunks, as they are.
    std::string answer() {
        std::ostringstream all;
        all << stream_.rdbuf();
        return all.str();
    }
    std::string line() {
        std::string text;
        std::getline(stream_, text);
        return text;
    }

  private:
    boost::asio::ip::tcp::iostream stream_;
};

std::string ask(const UnderstudyOllama& host, const std::string& path, const std::string& body,
                const std::string& method = "POST") {
    Client client{host};
    client.send(method, path, body);
    return client.answer();
}

std::string pull(const UnderstudyOllama& host, const std::string& name) {
    return ask(host, "/api/pull", R"({"name":")" + name + R"("})");
}

bool isReady(const UnderstudyOllama& host, const std::string& name) {
    return ask(host, "/api/generate", R"({"stream":false,"model":")" + name + R"("})").find("\"response\"") !=
           std::string::npos;
}

/// Each blob with the size of its file; none that is whole may lie about its digest.
std::map<std::string, std::uintmax_t> blobsOf(const UnderstudyOllama& host) {
    std::map<std::string, std::uintmax_t> blobs;
    for (const auto& file : std::filesystem::directory_iterator{host.store() + "/blobs"}) {
        const std::string name = file.path().filename();
        if (!name.ends_with("-partial")) EXPECT_EQ(name, "sha256-" + SHA256::ofFile(file.path()).value());
        blobs[name] = file.file_size();
    }
    return blobs;
}

constexpr std::string_view twoModels = R"("models":[
    {"name":"one","layers":[{"name":"weights","bytes":300001},{"name":"shared","bytes":7}]},
    {"name":"two","layers":[{"name":"shared","bytes":7},{"name":"other","bytes":200000}]}])";

TEST(UnderstudyOllama, FailsAtThePlaceAndGoesOnAtTheSameByte) {
    UnderstudyOllama host{"{" + std::string{twoModels} + R"(,"faults":[
        {"does":"error","path":"/api/pull","layer":0,"bytes":100003,"times":1,"words":"i/o timeout"}]})"};
    EXPECT_NE(pull(host, "one").find("{\"error\":\"i/o timeout\"}\n"), std::string::npos);
    ASSERT_EQ(blobsOf(host).size(), 1);
    EXPECT_EQ(blobsOf(host).begin()->second, 100003);
    EXPECT_FALSE(isReady(host, "one"));
    const std::string second = pull(host, "one");
    EXPECT_NE(second.find(R"("total":300001,"completed":100003})"), std::string::npos) << second;
    EXPECT_EQ(second.find("\"completed\":65536}"), std::string::npos) << "it began anew";
    EXPECT_NE(second.find("{\"status\":\"success\"}\n"), std::string::npos);
    EXPECT_EQ(blobsOf(host).size(), 3);
    EXPECT_TRUE(isReady(host, "one"));
}

TEST(UnderstudyOllama, KeepsWhatAnotherModelNeedsAndRunsNoModelThatLacksALayer) {
    UnderstudyOllama host{"{" + std::string{twoModels} + "}"};
    pull(host, "one"), pull(host, "two");
    ASSERT_EQ(blobsOf(host).size(), 5);
    ask(host, "/api/delete", R"({"name":"one"})", "DELETE");
    EXPECT_EQ(blobsOf(host).size(), 3);
    EXPECT_FALSE(isReady(host, "one"));
    EXPECT_TRUE(isReady(host, "two"));
    for (const auto& [name, size] : blobsOf(host)) {
        if (size == 200000) std::filesystem::remove(host.store() + "/blobs/" + name);
    }
    EXPECT_FALSE(isReady(host, "two"));
}

// A test of a cancel reads the time from the log.
TEST(UnderstudyOllama, LogsWhenTheClientLeavesWhateverItDoesMeanwhile) {
    for (const std::string scenario : {R"({"faults":[{"does":"hang"}]})", R"({"faults":[{"does":"hang","bytes":40}]})",
                                       R"({"bytesPerSecond":70000})", R"({"faults":[{"does":"dribble"}]})",
                                       R"({"faults":[{"does":"flood","size":100000000000}]})"}) {
        UnderstudyOllama host{scenario};
        {
            Client client{host};
            client.send("POST", "/api/pull", R"({"name":"gemma3:4b"})");
            if (scenario != R"({"faults":[{"does":"hang"}]})") EXPECT_EQ(client.line(), "HTTP/1.1 200 OK\r");
            std::this_thread::sleep_for(std::chrono::milliseconds{20});
        }
        const double left = std::chrono::duration<double>(system_clock::now().time_since_epoch()).count();
        const std::optional<double> noticed = host.timeOf("closed");
        ASSERT_TRUE(noticed) << scenario;
        EXPECT_NEAR(*noticed, left, 0.5) << scenario;
    }
    const UnderstudyOllama host;
    ask(host, "/api/tags", "", "GET");
    EXPECT_TRUE(host.timeOf("answered")) << "a whole answer is no cancel";
}

TEST(UnderstudyOllama, RefusesAScenarioWithAMisspeltMember) {
    for (const char* scenario :
         {R"({"fault":[]})", R"({"faults":[{"does":"stop","byte":1}]})", R"({"faults":[{"does":"stops"}]})",
          R"({"models":[{"name":"a","layers":[{"size":1}]}]})"})
        EXPECT_THROW(UnderstudyOllama{scenario}, std::runtime_error) << scenario;
}

}  // namespace
}  // namespace larkmoor::testing

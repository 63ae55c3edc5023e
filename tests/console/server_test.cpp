#include "fixture.h"

namespace {

bool Listens(int port) {
  const std::string listening = ":" + std::to_string(port) + " ";
  return WaitFor([&] {
    return RunToEnd({"ss", "-Hltn"}).output.find(listening) != std::string::npos;
  });
}

Ended AskServer(const std::string& server, std::vector<std::string> words) {
  words.insert(words.begin(), {Program("qmx-console"), "--timeout", "5", "tcp://" + server});
  return RunToEnd(words);
}

TEST_F(Console, GoesThroughDeviceServers) {
  // ser2net finds no address where the machine has none but the loopback's.
  if (IsPrivate()) RunToEnd({"ip", "address", "add", "192.0.2.1/32", "dev", "lo"});
  WriteFile(LabPath("ser2net.yaml"),
            "%YAML 1.1\n---\n"
            "connection: &raw\n  accepter: tcp,127.0.0.1,4001\n"
            "  connector: serialdev," +
                device_ +
                ",9600n82,local\n"
                "connection: &telnet\n  accepter: telnet,tcp,127.0.0.1,4002\n"
                "  connector: serialdev," +
                device_ + ",9600n82,local\n");
  Child server({"ser2net", "-n", "-c", LabPath("ser2net.yaml")});
  ASSERT_TRUE(Listens(4001)) << server.Errors();
  EXPECT_EQ(AskServer("127.0.0.1:4001", {"lcfg"}).output, "instrument type 2\n");
  const Line slow;
  Child slowServer({"socat", "TCP-LISTEN:4003,bind=127.0.0.1,linger=0", slow.Device() + ",rawer"});
  const Child talker({"socat", "TCP-LISTEN:4004,bind=127.0.0.1", "SYSTEM:printf %0100d 0"});
  const Child mute({"socat", "TCP-LISTEN:4005,bind=127.0.0.1", "EXEC:true"});
  ASSERT_TRUE(Listens(4003) && Listens(4004) && Listens(4005));
  RunToEnd({"ip", "route", "add", "192.0.2.2", "dev", "lo"});
  Child lost({Program("qmx-console"), "tcp://192.0.2.2:1", "lcfg"});
  Child user({Program("qmx-console"), "tcp://127.0.0.1:4001", "watch", "1", "--every", "0.1"});
  ASSERT_TRUE(WaitFor([&] { return !user.Output().empty(); }));
  const std::string gone = " closed the connection: its line may be in use, or have failed.\n";
  const auto unknown = [](const std::string& name) {
    return name + " cannot be reached: Name or service not known.\n";
  };
  const auto named = [](const std::string& name) {
    return "A device server is named tcp://HOST:PORT, not tcp://" + name + ".\n";
  };
  const struct {
    std::string server;
    int status;
    std::string told;
  } kTable[] = {
      {"127.0.0.1:4001", 2,
       "The device server 127.0.0.1:4001 closed the connection, saying: Port already in use\n"},
      {"127.0.0.1:4002", 2,
       "The device server 127.0.0.1:4002 speaks telnet: set this port of it to pass raw bytes.\n"},
      {"[::1]:4001", 2,
       "[::1]:4001 cannot be reached: Connection refused. Nothing listens there: check the port's "
       "number.\n"},
      {"127.0.0.1:65535", 2,
       "127.0.0.1:65535 cannot be reached: Connection refused. Nothing listens there: check the "
       "port's number.\n"},
      {"127.0.0.1:4004", 2,
       "The device server 127.0.0.1:4004 closed the connection, saying: " + std::string(80, '0') +
           "\n"},
      {"[127.0.0.1]:4005", 2, "The device server [127.0.0.1]:4005" + gone},
      {"nobody.invalid:1", 2, unknown("nobody.invalid:1")},
      {"[]:1", 2, unknown("[]:1")},
      {"[::1:1", 2, unknown("[::1:1")},
      {"127.0.0.1", 1, named("127.0.0.1")},
      {":4001", 1, named(":4001")},
      {"127.0.0.1:", 1, named("127.0.0.1:")},
      {"127.0.0.1:4001x", 1, named("127.0.0.1:4001x")},
      {"127.0.0.1:004001", 1, named("127.0.0.1:004001")},
      {"127.0.0.1:65536", 1, named("127.0.0.1:65536")},
  };
  for (const auto& row : kTable) {
    const Ended ended = AskServer(row.server, {"lcfg"});
    EXPECT_EQ(ended.status, row.status) << row.server;
    EXPECT_EQ(ended.errors, row.told);
  }
  // Cut off while it is used, by a server that ends and by one that goes in the middle of a reply.
  server.Signal(SIGTERM);
  EXPECT_EQ(user.Wait(), 2);
  EXPECT_EQ(user.Errors(), "The device server 127.0.0.1:4001" + gone);
  Child cut({Program("qmx-console"), "tcp://127.0.0.1:4003", "areg", "7"});
  EXPECT_EQ(slow.ReceiveUntil("\x03"), Request("4AREG K0 7"));
  slow.Send(
      "~\xFF\x02"
      "4AREG 0");
  EXPECT_EQ(slow.Receive(1, 300), "");
  slowServer.Signal(SIGKILL);
  EXPECT_EQ(cut.Wait(), 2);
  EXPECT_EQ(cut.Errors(), "The connection to 127.0.0.1:4003 is lost: Connection reset by peer.\n");
  if (!IsPrivate()) return;
  EXPECT_EQ(lost.Wait(), 2);
  EXPECT_EQ(lost.Errors(),
            "192.0.2.2:1 cannot be reached: Connection timed out. Check the address, the network, "
            "and that the server is on.\n");
}

}  // namespace

#include "host/inputs/PcapFile.h"

#include <dlfcn.h>
#include <pcap/pcap.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

namespace vesk::host {

struct PcapLibrary {
  decltype(&pcap_fopen_offline) fopenOffline;
  decltype(&pcap_datalink) datalink;
  decltype(&pcap_datalink_val_to_name) linkName;
  decltype(&pcap_next_ex) nextPacket;
  decltype(&pcap_geterr) lastError;
  decltype(&pcap_close) close;
};

namespace {

template <class Function>
void lookUp(void* library, const char* name, Function& function) {
  function = reinterpret_cast<Function>(dlsym(library, name));
  if (function == nullptr) throw InputFault(std::string("libpcap has no ") + name);
}

PcapLibrary load() {
  void* const library = dlopen("libpcap.so.0.8", RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr)
    throw InputFault(std::string("cannot load libpcap, which reads captures: ") + dlerror() +
                     "; install it with: apt-get install libpcap0.8");
  PcapLibrary functions;
  lookUp(library, "pcap_fopen_offline", functions.fopenOffline);
  lookUp(library, "pcap_datalink", functions.datalink);
  lookUp(library, "pcap_datalink_val_to_name", functions.linkName);
  lookUp(library, "pcap_next_ex", functions.nextPacket);
  lookUp(library, "pcap_geterr", functions.lastError);
  lookUp(library, "pcap_close", functions.close);
  return functions;
}

const PcapLibrary& library() {
  static const PcapLibrary functions = load();
  return functions;
}

/// A file may hold any time; what a signed count of microseconds can't hold is none.
std::optional<std::int64_t> microsecondsOf(const timeval& time) {
  constexpr std::int64_t kMostSeconds = 1'000'000'000'000;
  if (time.tv_sec < 0 || time.tv_sec > kMostSeconds || time.tv_usec < 0) return std::nullopt;
  return static_cast<std::int64_t>(time.tv_sec) * 1'000'000 + time.tv_usec;
}

}  // namespace

void PcapFile::Close::operator()(pcap* file) const { library->close(file); }

PcapFile::PcapFile(Bytes& bytes)
    : _library(library()),
      _source{bytes},
      _buffer(std::size_t{64} * 1024),
      _file(nullptr, Close{&_library}) {
  cookie_io_functions_t functions{};
  functions.read = readSource;
  std::FILE* const stream = fopencookie(&_source, "r", functions);
  if (stream == nullptr) throw InputFault("cannot open a stream on it");
  std::setvbuf(stream, _buffer.data(), _IOFBF, _buffer.size());
  std::array<char, PCAP_ERRBUF_SIZE> message{};
  _file.reset(_library.fopenOffline(stream, message.data()));
  if (_file) return;
  std::fclose(stream);
  rethrow();
  throw InputFault(std::string("libpcap can't read it: ") + message.data() +
                   "; try: editcap -F pcap FILE NEW.pcap");
}

PcapFile::~PcapFile() = default;

int PcapFile::linkType() const { return _library.datalink(_file.get()); }

std::string PcapFile::linkTypeName() const {
  const char* const name = _library.linkName(linkType());
  return std::to_string(linkType()) + (name == nullptr ? "" : std::string(" (") + name + ")");
}

std::variant<PcapFile::Packet, PcapFile::End, PcapFile::Damage> PcapFile::next() {
  pcap_pkthdr* header = nullptr;
  const u_char* data = nullptr;
  const int status = _library.nextPacket(_file.get(), &header, &data);
  rethrow();
  if (status == 1)
    return Packet{++_packets, microsecondsOf(header->ts), {data, header->caplen}, header->len};
  if (status == PCAP_ERROR_BREAK) return End{};
  return Damage{_library.lastError(_file.get())};
}

/// An exception must not pass through the C library: it is kept until the call has returned.
long PcapFile::readSource(void* context, char* into, std::size_t room) {
  auto& source = *static_cast<Source*>(context);
  try {
    const std::string_view window = source.bytes.peek(1);
    const std::size_t count = std::min(room, window.size());
    std::memcpy(into, window.data(), count);
    source.bytes.take(count);
    return static_cast<long>(count);
  } catch (...) {
    source.failure = std::current_exception();
    errno = EIO;
    return -1;
  }
}

void PcapFile::rethrow() {
  if (_source.failure) std::rethrow_exception(std::exchange(_source.failure, nullptr));
}

}  // namespace vesk::host

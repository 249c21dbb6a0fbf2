// Scenes in which the functions are tried: a forked child with mounts and a network of its own, a /proc with hand-made
// tables, recording tools, and what the system's own tools say of the same things.
#ifndef ROQ_TESTS_SYSTEM_NETINFO_SCENE_H
#define ROQ_TESTS_SYSTEM_NETINFO_SCENE_H

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace roq::scene {

// Runs the body in a forked child with mounts and a network of its own, the loopback up. Expectations that fail there
// are printed there, and fail the test here.
void in_child(const std::function<void()>& body);

// Replaces /proc by an empty one. Only within in_child.
void hide_proc();

// Within in_child, programs in `folder` appear in /bin before those of the machine.
void put_into_bin(const std::string& folder);

void write_file(const std::string& path, std::string_view text, unsigned mode = 0644);
std::string read_file(const std::string& path);

// An executable shell script.
void write_script(const std::string& path, std::string_view commands);

// Runs a shell command that must succeed.
void run(const std::string& command);
// What it prints, without the last line end.
std::string output_of(const std::string& command);

// The text of the first `"key":"text"` in what `ip -json` printed, and the number of the first `"key":number` behind
// the first `"section"`.
std::string json_text(const std::string& json, const std::string& key);
uint64_t json_number(const std::string& json, const std::string& section, const std::string& key);

// Numbers of this process's open descriptors below 256.
std::vector<int> open_descriptors();

// What `action` prints on standard output.
std::string printed_by(const std::function<void()>& action);

} // namespace roq::scene

#endif

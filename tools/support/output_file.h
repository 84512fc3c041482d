// An output file that is either written completely or left unchanged.
#ifndef TOOLS_SUPPORT_OUTPUT_FILE_H
#define TOOLS_SUPPORT_OUTPUT_FILE_H

#include <stdexcept>
#include <string>
#include <string_view>

// A write error: one line that names the file.
class CannotWrite : public std::runtime_error {
  public:
    CannotWrite(const std::string& path, int error);
    int error() const { return m_error; }

  private:
    int m_error;
};

// Writes a temporary file next to a regular file and renames it on commit(). A symbolic link stays a link. A
// device, a FIFO or a socket is written directly and never removed; the path "-" is standard output.
//
// Every operation throws CannotWrite.
class OutputFile {
  public:
    explicit OutputFile(const std::string& path);
    // Without commit(), the file stays unchanged.
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    void write(std::string_view bytes);
    // Renames the temporary file to the final name. Do not write afterwards.
    void commit();
    // Like commit(), but leaves the file open for more text. Returns its descriptor, which the caller closes.
    int commitOpen();

    static constexpr char STANDARD_OUTPUT[] = "-";

  private:
    [[noreturn]] void fail(int error) const;
    void open();
    void rename();

    const std::string m_path;  // as on the command line
    std::string m_target;      // the file behind the links
    std::string m_temporary;   // empty if the target is written directly
    int m_file = -1;
};

// Writes the whole content at once.
void writeFile(const std::string& path, std::string_view content);

#endif

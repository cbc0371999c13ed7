#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "zq/recording/recording.h"

namespace webcontainer {

/// A recording as a worker notes it: its fields and calls one behind the other in one piece of memory, as
/// each string of a Recording would cost every request that is watched. Adding throws std::bad_alloc.
class RecordingDraft {
public:
    /// Recording::Event without its texts.
    struct Call {
        Recording::ECall eCall{};
        std::int64_t nAtUs = 0;
        std::size_t nNumber = 0;
        int nResult = 0;
        bool bOmitted = false;
        std::size_t nCalls = 1;
    };

    Recording tRecording{};  ///< but for its headers, variables and calls

    void addHeader(std::string_view sName, std::string_view sValue) {
        add(EKind::kHeader, {}, sName, sValue);
    }
    void addVariable(std::string_view sName, std::string_view sValue) {
        add(EKind::kVariable, {}, sName, sValue);
    }
    void addCall(const Call& rCall, std::string_view sName, std::string_view sBytes);
    /// Of calls and fields, in bytes.
    std::size_t noted() const noexcept { return m_sNotes.size(); }
    /// About what all of it takes of memory, in bytes.
    std::size_t size() const noexcept {
        return sizeof *this + tRecording.sTarget.size() + tRecording.sRaw.size() + m_sNotes.capacity();
    }
    /// To be asked for once.
    Recording finish();

private:
    enum class EKind : std::uint8_t { kHeader, kVariable, kCall };
    /// What stands before each two texts.
    struct Note {
        EKind eKind;
        Call tCall;
        std::size_t nNameSize, nBytesSize;
    };

    void add(EKind eKind, const Call& rCall, std::string_view sName, std::string_view sBytes);

    std::string m_sNotes;
    std::size_t m_nLastCall = 0;  ///< where it stands, once there is one
};

}  // namespace webcontainer

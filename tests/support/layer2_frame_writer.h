// A small Layer II encoder back end for tests: writes a frame from given
// allocations, scale factors and sample codes, and computes the standard's
// reconstruction of those samples (ISO/IEC 11172-3 requantisation and
// synthesis filterbank) in double precision as an independent reference.
#ifndef MP3D_TESTS_LAYER2_FRAME_WRITER_H
#define MP3D_TESTS_LAYER2_FRAME_WRITER_H

#include <cstdint>
#include <string>
#include <vector>

namespace layer2_test {

struct Mp2Frame {
    int version = 1;  // 1 MPEG-1, 0 MPEG-2 LSF
    int bitrate_index = 4;
    int sampling_frequency = 1;  // 48 kHz for MPEG-1
    int mode = 3;                // 0 stereo, 1 joint, 2 dual, 3 mono
    int mode_extension = 0;
    bool crc = false;
    bool padding = false;
    // Per channel and subband; in the joint-stereo range channel 1 takes
    // channel 0's allocation and codes.
    int alloc[2][32] = {};
    int scfsi[2][32] = {};
    int scf[2][32][3] = {};          // indices per part, as the decoder should see them
    int codes[2][32][12][3] = {};    // sample codes 0..steps-1 per granule and slot
    std::vector<uint8_t> ancillary;  // written after the audio data (then zeros)

    int channels() const { return mode == 3 ? 1 : 2; }
};

// Allocation table, limit and joint-stereo bound of the frame, as the
// standard defines them.
int frame_table(const Mp2Frame &f);
int frame_sblimit(const Mp2Frame &f);
int frame_bound(const Mp2Frame &f);
int frame_bytes(const Mp2Frame &f);
// Quantisation steps of allocation a in subband sb under the frame's table.
int frame_steps(const Mp2Frame &f, int sb, int a);
int frame_nbal(const Mp2Frame &f, int sb);

std::vector<uint8_t> write_frame(const Mp2Frame &f);

// The standard's requantised value of a sample code with n steps, times the
// scale factor of index i: in units of full scale.
double requantise(int code, int steps, int scale_index);

// The standard's synthesis filterbank for one channel in double precision.
class ReferenceSynthesis {
  public:
    // Reads the window D from the reference data; false if it is missing.
    bool load(const std::string &window_file);
    // 32 subband samples in, 32 PCM samples out (full scale 1.0).
    void run(const double *subband, double *pcm);

  private:
    double d_[512] = {};
    double v_[1024] = {};
};

// Full-scale-1.0 output of both channels of a frame (1152 x channels,
// interleaved) through the given per-channel synthesis state.
std::vector<double> reference_decode(const Mp2Frame &f, ReferenceSynthesis *synth);

}  // namespace layer2_test

#endif

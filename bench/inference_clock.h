// Measures how much of a call into the library was inference. The benchmarks' link puts this clock around
// ov::InferRequest::infer, so that both parts of one frame are measured: the difference of two frames would be lost in the noise
// of inference.
#pragma once

namespace vorin::bench {

// The total time of all inferences of this process so far, in seconds.
double inferenceSeconds();

// Whether an inference is running, on any thread.
bool insideInference();

} // namespace vorin::bench

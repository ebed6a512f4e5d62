// How much of a call into the library was inference. The benchmarks' link puts this clock around ov::InferRequest::infer, so that
// one frame tells its two parts apart: the difference of two frames would be lost in the noise of inference.
#pragma once

namespace vorin::bench {

// The seconds that all inferences of this process have taken so far.
double inferenceSeconds();

// Whether one is under way, on whatever thread.
bool insideInference();

} // namespace vorin::bench

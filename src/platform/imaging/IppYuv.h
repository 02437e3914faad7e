#pragma once
/// Conversions between the layouts of YCbCr pictures. No value is changed but by the subsampling: chroma of two rows is
/// their mean, rounded up; a row of chroma that stands for two is repeated. Rules and answers: IppTypes.h.
///
/// Layouts, as the names have them: YCbCr422 packed is Y Cb Y Cr ("YUY2"), CbYCr422 packed Cb Y Cr Y ("UYVY");
/// P3 are three planes in the order of the name (YCrCb420: Y, Cr, Cb); P2 are luma and interleaved Cb Cr. 420 halves
/// chroma both ways, 422 across only, 411 quarters it across only.

#include "platform/imaging/IppTypes.h"

// Packed 4:2:2 to packed 4:2:2; source and destination may be the same.
IppStatus ippiYCbCr422ToCbYCr422_8u_C2R(const Ipp8u* source, int sourceStep, Ipp8u* destination, int destinationStep,
                                        IppiSize size);
IppStatus ippiCbYCr422ToYCbCr422_8u_C2R(const Ipp8u* source, int sourceStep, Ipp8u* destination, int destinationStep,
                                        IppiSize size);

// Packed 4:2:2 to planes.
IppStatus ippiYCbCr422ToYCbCr420_8u_C2P3R(const Ipp8u* source, int sourceStep, Ipp8u* const destination[3],
                                          const int destinationStep[3], IppiSize size);
IppStatus ippiYCbCr422ToYCrCb420_8u_C2P3R(const Ipp8u* source, int sourceStep, Ipp8u* const destination[3],
                                          const int destinationStep[3], IppiSize size);
/// Takes Cb Y Cr Y, whatever the name promises: it is the operation that the system feeds "UYVY" pictures.
IppStatus ippiYCrCb422ToYCbCr420_8u_C2P3R(const Ipp8u* source, int sourceStep, Ipp8u* const destination[3],
                                          const int destinationStep[3], IppiSize size);
IppStatus ippiCbYCr422ToYCrCb420_8u_C2P3R(const Ipp8u* source, int sourceStep, Ipp8u* const destination[3],
                                          const int destinationStep[3], IppiSize size);
/// Takes Y Cr Y Cb. Whoever has Y Cb Y Cr gives the destination's chroma planes in exchanged order.
IppStatus ippiYCrCb422ToYCbCr422_8u_C2P3R(const Ipp8u* source, int sourceStep, Ipp8u* const destination[3],
                                          const int destinationStep[3], IppiSize size);
IppStatus ippiCbYCr422ToYCbCr422_8u_C2P3R(const Ipp8u* source, int sourceStep, Ipp8u* const destination[3],
                                          const int destinationStep[3], IppiSize size);
IppStatus ippiYCbCr422ToYCbCr420_8u_C2P2R(const Ipp8u* source, int sourceStep, Ipp8u* const destination[2],
                                          const int destinationStep[2], IppiSize size);
IppStatus ippiCbYCr422ToYCbCr420_8u_C2P2R(const Ipp8u* source, int sourceStep, Ipp8u* const destination[2],
                                          const int destinationStep[2], IppiSize size);

// Two planes.
IppStatus ippiYCbCr420ToYCbCr422_8u_P2C2R(const Ipp8u* const source[2], const int sourceStep[2], Ipp8u* destination,
                                          int destinationStep, IppiSize size);
IppStatus ippiYCbCr420ToCbYCr422_8u_P2C2R(const Ipp8u* const source[2], const int sourceStep[2], Ipp8u* destination,
                                          int destinationStep, IppiSize size);
IppStatus ippiYCbCr420_8u_P2P3R(const Ipp8u* const source[2], const int sourceStep[2], Ipp8u* const destination[3],
                                const int destinationStep[3], IppiSize size);
IppStatus ippiYCrCb420ToYCbCr420_8u_P3P2R(const Ipp8u* const source[3], const int sourceStep[3],
                                          Ipp8u* const destination[2], const int destinationStep[2], IppiSize size);

// Three planes to packed 4:2:2.
IppStatus ippiYCrCb420ToYCbCr422_8u_P3C2R(const Ipp8u* const source[3], const int sourceStep[3], Ipp8u* destination,
                                          int destinationStep, IppiSize size);
IppStatus ippiYCrCb420ToCbYCr422_8u_P3C2R(const Ipp8u* const source[3], const int sourceStep[3], Ipp8u* destination,
                                          int destinationStep, IppiSize size);
IppStatus ippiYCbCr422_8u_P3C2R(const Ipp8u* const source[3], const int sourceStep[3], Ipp8u* destination,
                                int destinationStep, IppiSize size);

// Three planes to three planes.
IppStatus ippiYCbCr420ToYCbCr422_8u_P3R(const Ipp8u* const source[3], const int sourceStep[3],
                                        Ipp8u* const destination[3], const int destinationStep[3], IppiSize size);
IppStatus ippiYCbCr422ToYCbCr420_8u_P3R(const Ipp8u* const source[3], const int sourceStep[3],
                                        Ipp8u* const destination[3], const int destinationStep[3], IppiSize size);
/// Two columns of chroma become their mean, rounded up; a last column without a neighbour stays as it is.
IppStatus ippiYCbCr420To411_8u_P3R(const Ipp8u* const source[3], const int sourceStep[3], Ipp8u* const destination[3],
                                   const int destinationStep[3], IppiSize size);

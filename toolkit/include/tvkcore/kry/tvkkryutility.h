#pragma once

#include <tvkcore/kry/tvkkryalgorithmfactory.h>

class TVK_API TVKKRYUtility {
public:
    // The toolkit's default factory: until a host installs another, one that makes random data alone, from
    // the operating system's generator. The reference stays valid for the life of the process.
    static TVKKRYAlgorithmFactory const& getDefaultAlgorithmFactory();

    // Makes a duplicate of `factory` the default. Earlier ones are kept, as references to them may be about.
    // Throws TVKException TVKCORE_NOT_AVAILABLE when it can't be duplicated.
    static void setDefaultAlgorithmFactory(TVKKRYAlgorithmFactory const& factory);

    // `length` random bytes, made by `factory`, or by the default factory for null, with `seed` as seeding
    // material; `seed` may be null. Throws TVKException TVKCORE_NO_RANDOM_DATA when the factory has none,
    // or less.
    static TVKBuffer generateRandomData(unsigned int length, TVKASNCBuffer const* seed,
                                        TVKKRYAlgorithmFactory const* factory);
};

// For `import`: Node cannot see the names of a native module's properties.

import { load } from 'zaxbase/runtime';

export const { smallestFactor, centroid, Path, countPrimes } = load(import.meta.url);

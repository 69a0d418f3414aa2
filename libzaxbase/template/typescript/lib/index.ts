import path from 'node:path';
import { load } from 'zaxbase/runtime';
import type * as native from '../native.js';

const folder = path.join(__dirname, '..');

export const { smallestFactor, centroid, countPrimes } = load<typeof native>(folder);
export type { Point, ZaxBindingError } from '../native.js';

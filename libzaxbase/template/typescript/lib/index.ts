import path from 'node:path';
import { load } from 'zaxbase/runtime';
import type * as native from '../native.js';

const folder = path.join(__dirname, '..');

export const { smallestFactor, centroid, Path, countPrimes } = load<typeof native>(folder);
export type Path = native.Path;
export type { Point, ZaxBindingError } from '../native.js';

export interface Point {
  x: number;
  y: number;
}

/** The smallest factor of a number, without 1. */
export function smallestFactor(number: number): number;

/** The point in the middle of others. */
export function centroid(points: Point[]): Point;

/** A line from point to point. */
export class Path {
  constructor();
  /** Goes on to a point. */
  add(point: Point): void;
  /** How long it is. */
  get length(): number;
}

/** How many primes there are below a limit. The progress is a percentage. */
export function countPrimes(
  limit: number,
  options?: { signal?: AbortSignal; onProgress?: (value: number) => void },
): Promise<number>;

/** What is thrown where native code fails. */
export type { ZaxBindingError } from 'zaxbase/runtime';

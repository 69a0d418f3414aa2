export interface Point {
  x: number;
  y: number;
}

/** The smallest factor of a number, without 1. */
export function smallestFactor(number: number): number;

/** The point in the middle of others. */
export function centroid(points: Point[]): Point;

/** What is thrown where native code fails. */
export type { ZaxBindingError } from 'zaxbase/runtime';

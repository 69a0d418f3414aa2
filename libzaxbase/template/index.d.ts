/** The smallest factor of a number, without 1. */
export function smallestFactor(number: number): number;

/** The number of primes up to a limit; `onProgress` is told "10%", "20%" and so on. */
export function countPrimes(
  limit: number,
  onProgress?: (progress: string) => void,
): Promise<number>;

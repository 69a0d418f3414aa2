/** Resolves to the string after the wait, in milliseconds. */
export function asyncEcho(wait: number, str: string): Promise<string>;

/** The same; `onProgress` receives the text of each step, such as "str-25%". */
export function asyncEchoWithNotifications(
  wait: number,
  str: string,
  onProgress?: (text: string) => void,
): Promise<string>;

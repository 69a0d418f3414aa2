// Without names: Node would ask for the value of each, and `source` writes a file then.

export { default } from './index.js';

// SPDX-License-Identifier: GPL-3.0-or-later
// Elements of the page, and numbers as text.

/**
 * The element of that id; the page has it. Not typed, for the kinds of elements differ.
 * @param {string} id
 * @returns {any}
 */
export const byId = (id) => document.getElementById(id);

/**
 * "6 799 450.5": to the centimetre, without trailing zeros.
 * @param {number} value
 */
export function metres(value) {
  const [whole, part] = String(Math.abs(Math.round(value * 100) / 100)).split('.');
  const sign = value < 0 && whole + (part ?? '') !== '0' ? '−' : '';
  return sign + whole.replace(/\B(?=(\d{3})+$)/g, '\u202f') + (part ? '.' + part : '');
}

/**
 * "1 150 to 1 210 m".
 * @param {number} from
 * @param {number} to
 */
export const span = (from, to) => `${metres(from)} to ${metres(to)} m`;

/**
 * The value with at most `digits` significant digits, without trailing zeros.
 * @param {number} value
 * @param {number} [digits]
 */
export function figures(value, digits = 6) {
  if (value === 0) return '0';
  const size = Math.abs(value);
  if (size >= 1e-4 && size < 1e7) return String(Number(value.toPrecision(digits)));
  const [number, exponent] = value.toExponential(digits - 1).split('e');
  return `${Number(number)}e${Number(exponent)}`;
}

/**
 * Minimum and maximum of the values, without those that are NaN.
 * @param {Iterable<number>} values
 * @returns {[number, number]}
 */
export function extremes(values) {
  let min = Infinity;
  let max = -Infinity;
  for (const value of values) {
    if (value < min) min = value;
    if (value > max) max = value;
  }
  return [min, max];
}

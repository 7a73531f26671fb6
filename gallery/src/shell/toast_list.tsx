import { useApp } from '../app.js';
import { Icon } from './icon.js';
import type { Toast } from './toasts.js';

export function ToastList() {
  const { toasts } = useApp();
  const list = toasts.list.value;
  return (
    <div class="toasts">
      <div role="status">
        {list.filter(({ isError }) => !isError).map((toast) => <Message key={toast.id} toast={toast} />)}
      </div>
      <div role="alert">
        {list.filter(({ isError }) => isError).map((toast) => <Message key={toast.id} toast={toast} />)}
      </div>
    </div>
  );
}

function Message({ toast }: { toast: Toast }) {
  const { toasts } = useApp();
  const { action } = toast;
  const run = () => {
    toasts.dismiss(toast.id);
    action?.run();
  };
  return (
    <div
      class={toast.isError ? 'toast error' : 'toast'}
      onPointerEnter={() => toasts.hold(toast)}
      onPointerLeave={() => toasts.release(toast)}
      onFocusIn={() => toasts.hold(toast)}
      onFocusOut={() => toasts.release(toast)}
    >
      <span>{toast.text}</span>
      {action !== null && (
        <button class="toast-action" onClick={run}>
          {action.name}
        </button>
      )}
      <button class="icon-button" aria-label="Dismiss" onClick={() => toasts.dismiss(toast.id)}>
        <Icon name="close" />
      </button>
    </div>
  );
}

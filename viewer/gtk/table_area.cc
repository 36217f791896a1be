#include "viewer/gtk/table_area.h"

namespace tervalon::viewer {
namespace {

// A model without rows of its own: an iterator holds the number of one.
struct RowModel {
  GObject object;
  int rows;
  int stamp;
};
struct RowModelClass {
  GObjectClass parent;
};

GtkTreeModelFlags Flags(GtkTreeModel*) {
  return GtkTreeModelFlags(GTK_TREE_MODEL_LIST_ONLY | GTK_TREE_MODEL_ITERS_PERSIST);
}
int Columns(GtkTreeModel*) { return 1; }
GType ColumnType(GtkTreeModel*, int) { return G_TYPE_INT; }
RowModel* Self(gpointer model) { return static_cast<RowModel*>(model); }
int RowOf(const GtkTreeIter* iter) { return GPOINTER_TO_INT(iter->user_data); }
gboolean SetRow(GtkTreeModel* model, GtkTreeIter* iter, int row) {
  if (row < 0 || row >= Self(model)->rows) return FALSE;
  iter->stamp = Self(model)->stamp;
  iter->user_data = GINT_TO_POINTER(row);
  return TRUE;
}
gboolean GetIter(GtkTreeModel* model, GtkTreeIter* iter, GtkTreePath* path) {
  return SetRow(model, iter, gtk_tree_path_get_indices(path)[0]);
}
GtkTreePath* GetPath(GtkTreeModel*, GtkTreeIter* iter) {
  return gtk_tree_path_new_from_indices(RowOf(iter), -1);
}
void GetValue(GtkTreeModel*, GtkTreeIter* iter, int, GValue* value) {
  g_value_init(value, G_TYPE_INT);
  g_value_set_int(value, RowOf(iter));
}
gboolean Next(GtkTreeModel* model, GtkTreeIter* iter) {
  return SetRow(model, iter, RowOf(iter) + 1);
}
gboolean Previous(GtkTreeModel* model, GtkTreeIter* iter) {
  return SetRow(model, iter, RowOf(iter) - 1);
}
gboolean Children(GtkTreeModel* model, GtkTreeIter* iter, GtkTreeIter* parent) {
  return parent == nullptr && SetRow(model, iter, 0);
}
gboolean HasChild(GtkTreeModel*, GtkTreeIter*) { return FALSE; }
int CountOf(GtkTreeModel* model, GtkTreeIter* iter) {
  return iter == nullptr ? Self(model)->rows : 0;
}
gboolean NthChild(GtkTreeModel* model, GtkTreeIter* iter, GtkTreeIter* parent, int row) {
  return parent == nullptr && SetRow(model, iter, row);
}
gboolean Parent(GtkTreeModel*, GtkTreeIter*, GtkTreeIter*) { return FALSE; }

void FillInterface(gpointer interface, gpointer) {
  auto* const model = static_cast<GtkTreeModelIface*>(interface);
  model->get_flags = Flags;
  model->get_n_columns = Columns;
  model->get_column_type = ColumnType;
  model->get_iter = GetIter;
  model->get_path = GetPath;
  model->get_value = GetValue;
  model->iter_next = Next;
  model->iter_previous = Previous;
  model->iter_children = Children;
  model->iter_has_child = HasChild;
  model->iter_n_children = CountOf;
  model->iter_nth_child = NthChild;
  model->iter_parent = Parent;
}

}  // namespace

static void row_model_init(RowModel* model) { model->stamp = 1; }
static void row_model_class_init(RowModelClass*) {}
G_DEFINE_TYPE_WITH_CODE(RowModel, row_model, G_TYPE_OBJECT,
                        G_IMPLEMENT_INTERFACE(GTK_TYPE_TREE_MODEL, FillInterface))

namespace {

struct ShownColumn {
  const TableDocument* document;
  size_t column;  // of properties 0 the names, 1 the values
};

void ShowCell(GtkTreeViewColumn*, GtkCellRenderer* renderer, GtkTreeModel*, GtkTreeIter* iter,
              gpointer data) {
  const auto& shown = *static_cast<const ShownColumn*>(data);
  const tools::Section& table = shown.document->table();
  const auto row = static_cast<size_t>(RowOf(iter));
  std::string text;
  if (!table.columns.empty()) {
    const tools::Column& column = table.columns[shown.column];
    if (row < tools::RowCount(table)) {
      text = tools::TextOf(tools::CellValue(column, row), column.decimals);
    }
  } else if (row < table.properties.size()) {
    const tools::Property& property = table.properties[row];
    text = shown.column == 0 ? property.title : tools::TextOf(property.value, property.decimals);
  }
  g_object_set(renderer, "text", text.c_str(), nullptr);
}

}  // namespace

GtkWidget* MakeTableArea(const TableDocument& document) {
  const tools::Section& table = document.table();
  auto* const model = static_cast<RowModel*>(g_object_new(row_model_get_type(), nullptr));
  model->rows =
      static_cast<int>(table.columns.empty() ? table.properties.size() : tools::RowCount(table));
  GtkWidget* const view = gtk_tree_view_new_with_model(GTK_TREE_MODEL(model));
  g_object_unref(model);
  const size_t columns = table.columns.empty() ? 2 : table.columns.size();
  for (size_t i = 0; i < columns; ++i) {
    GtkCellRenderer* const renderer = gtk_cell_renderer_text_new();
    GtkTreeViewColumn* const column = gtk_tree_view_column_new();
    const std::string title = !table.columns.empty() ? table.columns[i].title
                              : i == 0               ? "Name"
                                                     : "Value";
    gtk_tree_view_column_set_title(column, title.c_str());
    gtk_tree_view_column_set_resizable(column, TRUE);
    gtk_tree_view_column_set_sizing(column, GTK_TREE_VIEW_COLUMN_FIXED);
    gtk_tree_view_column_set_fixed_width(column, 140);
    gtk_tree_view_column_pack_start(column, renderer, TRUE);
    gtk_tree_view_column_set_cell_data_func(
        column, renderer, ShowCell, new ShownColumn{&document, i},
        [](gpointer data) { delete static_cast<ShownColumn*>(data); });
    gtk_tree_view_append_column(GTK_TREE_VIEW(view), column);
  }
  gtk_tree_view_set_fixed_height_mode(GTK_TREE_VIEW(view), TRUE);
  GtkWidget* const scrolled = gtk_scrolled_window_new(nullptr, nullptr);
  gtk_container_add(GTK_CONTAINER(scrolled), view);
  return scrolled;
}

}  // namespace tervalon::viewer
